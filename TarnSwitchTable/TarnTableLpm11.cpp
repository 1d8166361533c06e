#include "TarnSwitchTable/TarnTableLpm11.h"

namespace TarnSwitchTable {
template class DirectTable<Lpm11Layout>;
template class DirectConvertor<Lpm11Layout>;

std::string Lpm11Result::resultString() const {
  return "cellResult: " + cellResult.toStrep() + " cpuTrap: " + (cpuTrap ? "true" : "false");
}

void lpmRefuseVrf(const char* tableName, const TarnSwitch::LpmKey& key) {
  if (key.vrfId > lpmMaxVrfId) {
    throw Fen::RangeException(std::string(tableName) + "::vrfId > 3 not allowed");
  }
}

Fen::Ptr<Lpm11Table> lpm11TableFactory(const std::string& name) {
  return Fen::makePtr<Lpm11Table>(name);
}

void Lpm11Layout::declare(const HwTables& hw) const {
  for (U32 i = 0; i < l3Processors; ++i) {
    const std::string prefix = "ingress/processor_l3[" + std::to_string(i) + "]/";
    hw.copyIs(i, hw.name(int(i)), 0, lastRow, rowRegisters(prefix, {"hash_data0", "hash_ctl"}));
  }
}

}  // namespace TarnSwitchTable
