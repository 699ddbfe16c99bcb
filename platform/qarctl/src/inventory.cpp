#include "function_record.h"
#include "inventory_file.h"
#include "inventory_reader.h"
#include "virtual_functions.h"

#include <utility>

namespace HostCtl {

namespace {

constexpr std::uint16_t kNoId = 0xffff;

/// Gathers what the classes need of each function as it is read.
class InventoryInput {
 public:
  explicit InventoryInput(const std::string& name)
      : reader_(name, [this](const SavedFunction& function) { Add(function); }) {}

  void Take(std::string_view piece) { reader_.Take(piece); }
  HostInput Finish();

 private:
  void Add(const SavedFunction& function);

  InventoryReader reader_;
  std::vector<FunctionRecord> functions_;
  std::vector<PhysicalFunction> physicals_;
  /// Those with ones in place of ids.
  std::vector<std::size_t> nameless_;
};

void InventoryInput::Add(const SavedFunction& function) {
  FunctionRecord record;
  record.address = function.address;
  record.config = Decode(function.config);
  record.slot = function.slot;
  if (record.config.vendorId == kNoId && record.config.deviceId == kNoId) {
    nameless_.push_back(functions_.size());
    if (function.ids) {
      record.config.vendorId = function.ids->vendor;
      record.config.deviceId = function.ids->device;
    }
  } else if (const auto virtuals = DecodeVirtualFunctions(function.config)) {
    physicals_.push_back({record.address, record.config.vendorId, *virtuals});
  }
  functions_.push_back(record);
}

HostInput InventoryInput::Finish() {
  reader_.Finish();
  IdentifyVirtualFunctions(physicals_, nameless_, functions_);
  return {std::move(functions_), false};
}

}  // namespace

HostInput ReadInventory(const std::string& file) {
  InventoryFile pieces(file);
  InventoryInput input(file);
  for (auto piece = pieces.Next(); !piece.empty(); piece = pieces.Next()) input.Take(piece);
  return input.Finish();
}

HostInput ReadInventoryText(std::string_view text, const std::string& name) {
  InventoryInput input(name);
  input.Take(text);
  return input.Finish();
}

}  // namespace HostCtl
