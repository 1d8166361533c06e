#include "TarnSwitchTable/TarnTableL3FloodArp.h"

namespace TarnSwitchTable {
template class DirectTable<L3FloodArpLayout>;
template class DirectConvertor<L3FloodArpLayout>;

Fen::Ptr<L3FloodArpEntry> l3FloodArpEntryFactory(TarnSwitch::L3FloodId id) {
  auto e = Fen::makePtr<L3FloodArpEntry>();
  e->key = id;
  return e;
}

Fen::Ptr<L3FloodArpTable> l3FloodArpTableFactory(const std::string& name) {
  return Fen::makePtr<L3FloodArpTable>(name);
}

L3FloodArpLayout::L3FloodArpLayout(const TarnSwitch::ChipProfile& profile)
    : processors(profile.portCount / portsPerProcessor) {}

void L3FloodArpLayout::declare(const HwTables& hw) const {
  for (U32 i = 0; i < processors; ++i) {
    const std::string prefix = "egress/processor[" + std::to_string(i) + "]/";
    hw.copyIs(
        i, hw.name(int(i)), 0, lastRow,
        rowRegisters(prefix, {"lum_data", "lum_ctl_addr_data", "lum_data", "lum_ctl_addr_data",
                              "lum_data", "lum_ctl_addr_data", "lum_data", "lum_ctl_addr_data"}));
  }
}

}  // namespace TarnSwitchTable
