// The script reader and executor on a fresh simulated chip: a script is run to its end or
// refused with the tool's error naming its line.
#include <sstream>

#include "Errors.h"
#include "FuzzSupport.h"
#include "Script.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;  // restarts cost a walk over every table: keep scripts short
  auto session = TarnFuzz::freshSession(TarnFuzz::tinyProfile());
  std::ostringstream out;
  Tarnctl::ScriptRunner runner(*session, Tarnctl::RunOptions{true, false, false}, out);
  std::istringstream script(std::string(reinterpret_cast<const char*>(data), size));
  try {
    runner.run(script, "fuzz.tarn");
  } catch (const Tarnctl::LineError& e) {
    if (std::string(e.what()).rfind("fuzz.tarn:", 0) != 0) __builtin_trap();
  }
  return 0;
}
