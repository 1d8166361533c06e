// The hardware state file loader, then a warm start of every registered table on what it
// loaded (as --hw-in does): refused only with the framework's exception or the tool's error.
#include "Errors.h"
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TarnSwitchApi::HwTableShapes shapes = [] {
    TarnFuzz::freshSession(TarnFuzz::tinyProfile());  // registers the modules
    return Tarnctl::registeredShapes(TarnFuzz::tinyProfile());
  }();
  const std::string& path = TarnFuzz::scratchFile(data, size);
  Fen::Ptr<TarnSwitchApi::HwTableCollection> chip;
  try {
    chip = TarnSwitchApi::HwTableCollection::load(path, &TarnFuzz::tinyProfile(), &shapes);
  } catch (const TarnSwitchApi::HwStateException&) {
    return 0;
  }
  Tarnctl::Session s(chip);
  try {
    s.start(TarnSwitchApi::StartMode::warm);
  } catch (const Tarnctl::ToolError&) {
  }
  return 0;
}
