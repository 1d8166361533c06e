#include "TarnSwitchTable/TarnL3SharedTypes.h"

namespace TarnSwitchTable {

U32 portsFittingRow(const TarnSwitch::ChipProfile& profile, U32 ports, U32 maxPorts,
                    const char* table) {
  if (ports > maxPorts) {
    throw Fen::RangeException(std::string(table) + ": profile '" + profile.name + "' has " +
                              std::to_string(ports) + " ports; a port mask of the row holds " +
                              std::to_string(maxPorts) + " at most");
  }
  return ports;
}

void declareL3IngressCopies(const HwTables& hw, U32 pipelines, HwIndex upper) {
  for (U32 i = 0; i < pipelines; ++i) {
    hw.copyIs(i, hw.name(int(i)), 0, upper,
              rowRegisters("ingress/processor_l3[" + std::to_string(i) + "]/",
                           {"hash_data0", "hash_data1", "hash_ctl"}));
  }
}

}  // namespace TarnSwitchTable
