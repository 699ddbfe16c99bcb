#include "heap_count.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

std::atomic<std::size_t> held = 0;
std::atomic<std::size_t> peak = 0;

/// A block with the allocator's word in front of it.
std::size_t SizeOf(void* block) {
  return malloc_usable_size(block) + sizeof(std::size_t);
}

void* Take(std::size_t size) {
  void* block = std::malloc(size != 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  const std::size_t now = held += SizeOf(block);
  for (std::size_t most = peak; now > most && !peak.compare_exchange_weak(most, now);) {
  }
  return block;
}

void Give(void* block) noexcept {
  if (block == nullptr) return;
  held -= SizeOf(block);
  std::free(block);
}

}  // namespace

namespace heapcount {

std::size_t Held() {
  return held;
}
std::size_t Peak() {
  return peak;
}
void ForgetPeak() {
  peak = held.load();
}

}  // namespace heapcount

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
  return Take(size);
}
__attribute__((visibility("default"))) void* operator new[](std::size_t size) {
  return Take(size);
}
__attribute__((visibility("default"))) void operator delete(void* block) noexcept {
  Give(block);
}
__attribute__((visibility("default"))) void operator delete[](void* block) noexcept {
  Give(block);
}
__attribute__((visibility("default"))) void operator delete(void* block, std::size_t) noexcept {
  Give(block);
}
__attribute__((visibility("default"))) void operator delete[](void* block, std::size_t) noexcept {
  Give(block);
}
// std::stable_sort asks for its room by these.
__attribute__((visibility("default"))) void* operator new(std::size_t size,
                                                          const std::nothrow_t&) noexcept {
  try {
    return Take(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
__attribute__((visibility("default"))) void operator delete(void* block,
                                                            const std::nothrow_t&) noexcept {
  Give(block);
}
