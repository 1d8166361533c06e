// The profile file reader: a file is read into a profile every registered table works with, or
// refused with the tool's error.
#include "Errors.h"
#include "FuzzSupport.h"
#include "Profile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool registered = (TarnFuzz::freshSession(TarnFuzz::tinyProfile()), true);
  (void)registered;
  const std::string& path = TarnFuzz::scratchFile(data, size);
  try {
    TarnSwitch::ChipProfile p = Tarnctl::profileFromOption(path);
    Tarnctl::registeredShapes(p);  // what the reader accepted, the tables start on
  } catch (const Tarnctl::ToolError&) {
  }
  return 0;
}
