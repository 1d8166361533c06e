#include "TarnSwitchTable/TarnTableL2Control.h"

namespace TarnSwitchTable {
template class Layer2Table<L2ControlLayout>;
template class Layer2Convertor<L2ControlLayout>;

std::string L2ControlResult::shortStrep() const {
  return "isMlag:" + Fen::printText(isMlag) + " learnOnly:" + Fen::printText(learnOnly) +
         " learnDisabled:" + Fen::printText(learnDisabled);
}

Fen::Ptr<L2ControlTable> l2ControlTableFactory(const std::string& name) {
  return Fen::makePtr<L2ControlTable>(name);
}

void L2ControlLayout::declare(const HwTables& hw) const {
  const std::string name = hw.name();
  hw.copyIs(0, name, 0, lastRow(), portRegisters(name, ports, [&](U32 i) {
              return pipelinePortPrefix(i, perPipeline) + "l2_control";
            }));
}

}  // namespace TarnSwitchTable
