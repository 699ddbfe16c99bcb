#include "shared_text.h"

#include <cstring>
#include <new>

namespace cimom {

SharedText::SharedText(std::string_view text) {
  if (text.empty()) return;
  void* memory = ::operator new(sizeof(Block) + text.size() + 1);
  block_ = new (memory) Block{text.size(), 1};
  std::memcpy(block_->characters(), text.data(), text.size());
  block_->characters()[text.size()] = '\0';
}

char* SharedText::emptyText() noexcept {
  static char empty[] = "";
  return empty;
}

void SharedText::letGo() noexcept {
  if (block_->holders.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  block_->~Block();
  ::operator delete(block_);
}

}  // namespace cimom
