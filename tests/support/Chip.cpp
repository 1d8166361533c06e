#include "support/Chip.h"

#include <stdexcept>

#include "TarnSwitch/ChipProfile.h"
#include "support/TestTables.h"

namespace TarnTest {

ChipPtr makeChip(const std::string& profile) {
  const TarnSwitch::ChipProfile* p = TarnSwitch::builtinProfile(profile);
  if (!p) throw std::invalid_argument("no built-in profile " + profile);
  return Fen::makePtr<TarnSwitchApi::HwTableCollection>(*p);
}

const std::string& TestPortTag::message() {
  static const std::string m = Fen::rangeMessageLiteralMax(name, 63);
  return m;
}

}  // namespace TarnTest
