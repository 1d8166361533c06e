#include "TarnSwitchTable/TarnTablePortConfig.h"

namespace Fen {

namespace {
constexpr const char* modeNames[] = {"trunk", "access", "qinq"};
}  // namespace

void ValueTraits<TarnSwitchTable::PortConfigMode>::print(std::string& out,
                                                         TarnSwitchTable::PortConfigMode v) {
  const U32 n = U32(v);
  out += n < 3 ? modeNames[n] : std::to_string(n);
}

TarnSwitchTable::PortConfigMode ValueTraits<TarnSwitchTable::PortConfigMode>::parse(
    TextReader& in) {
  for (U32 n = 0; n < 3; ++n) {
    if (in.consume(modeNames[n])) return TarnSwitchTable::PortConfigMode(n);
  }
  if (in.rest().empty() || in.rest()[0] < '0' || in.rest()[0] > '9')
    in.fail("trunk, access, qinq or a number");
  return TarnSwitchTable::PortConfigMode(ValueTraits<U32>::parse(in));
}

}  // namespace Fen

namespace TarnSwitchTable {
template class Layer2Table<PortConfigLayout>;
template class Layer2Convertor<PortConfigLayout>;

std::string PortConfigResult::shortStrep() const {
  return "portMode:" + Fen::printText(portMode) + " txDisabled:" + Fen::printText(txDisabled) +
         " l2ForwardingDisabled:" + Fen::printText(l2ForwardingDisabled);
}

Fen::Ptr<PortConfigTable> portConfigTableFactory(const std::string& name) {
  return Fen::makePtr<PortConfigTable>(name);
}

void PortConfigLayout::declare(const HwTables& hw) const {
  const char* reg = revision < 2 ? "/cfg" : "/vlan_cfg";
  const std::string name = hw.name();
  hw.copyIs(0, name, 0, lastRow(), portRegisters(name, ports, [&](U32 i) {
              return "egress/port[" + std::to_string(i) + "]" + reg;
            }));
}

}  // namespace TarnSwitchTable
