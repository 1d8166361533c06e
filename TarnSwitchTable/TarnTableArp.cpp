#include "TarnSwitchTable/TarnTableArp.h"

namespace TarnSwitchTable {
template class DirectTable<ArpLayout>;
template class DirectConvertor<ArpLayout>;

const std::string& ArpRewriteIndexTag::message() {
  static const std::string m = Fen::rangeMessageLiteralMax(name, 63);
  return m;
}

Fen::Ptr<ArpEntry> arpEntryFactory(const ArpKey& key) {
  auto e = Fen::makePtr<ArpEntry>();
  e->key = key;
  return e;
}

Fen::Ptr<ArpTable> arpTableFactory(const std::string& name) {
  return Fen::makePtr<ArpTable>(name);
}

ArpLayout::ArpLayout(const TarnSwitch::ChipProfile& profile) : ports(profile.portCount) {
  if (ports == 0) throw Fen::RangeException("the ARP table needs a profile with ports");
}

void ArpLayout::declare(const HwTables& hw) const {
  const std::string name = hw.name();
  auto mapping = Fen::makePtr<TarnSwitchApi::HwTableRegisterMappingRange>(name);
  for (U32 p = 0; p < ports / portsPerProcessor; ++p) {
    mapping->regsIs(
        (p + 1) * portsPerProcessor * entriesPerPort - 1,
        rowRegisters("egress/processor[" + std::to_string(p) + "]/",
                     {"lum_data", "lum_ctl_addr_data", "lum_data", "lum_ctl_addr_data"}));
  }
  hw.copyIs(0, name, 0, ports * entriesPerPort - 1, mapping);
}

}  // namespace TarnSwitchTable
