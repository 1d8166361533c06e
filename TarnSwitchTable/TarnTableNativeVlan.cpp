#include "TarnSwitchTable/TarnTableNativeVlan.h"

#include <cstdio>

namespace TarnSwitchTable {
template class Layer2Table<NativeVlanLayout>;
template class Layer2Convertor<NativeVlanLayout>;

std::string NativeVlanResult::shortStrep() const {
  char buf[48];
  std::snprintf(buf, sizeof buf, "vlan:%4u dei:0x%X pcp:0x%X", unsigned(nativeVlanId.value()),
                unsigned(dei), unsigned(pcp));
  return buf;
}

Fen::Ptr<NativeVlanTable> nativeVlanTableFactory(const std::string& name) {
  return Fen::makePtr<NativeVlanTable>(name);
}

void NativeVlanLayout::declare(const HwTables& hw) const {
  const std::string name = hw.name();
  hw.copyIs(0, name, 0, lastRow(), portRegisters(name, ports, [&](U32 i) {
              return revision > 1 ? "egress/port[" + std::to_string(i) + "]/vlan_tci"
                                  : pipelinePortPrefix(i, perPipeline) + "default_vlan";
            }));
}

}  // namespace TarnSwitchTable
