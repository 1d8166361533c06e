#include "TarnSwitchTable/TarnParityTypes.h"

#include "Fen/Registry.h"

namespace Fen {
const std::string& EnumNames<TarnSwitchTable::ParityTable>::message() {
  static const std::string m = rangeMessageLiteralMax(typeName, maxValue);
  return m;
}
}  // namespace Fen

namespace TarnSwitchTable {

ParityTable ParityTableInstance(Fen::U32 n) {
  return Fen::enumFromNumber<ParityTable>(n);
}

ParityTable ParityTableInstance(const std::string& text) {
  return Fen::parseText<ParityTable>(text);
}

std::string stringValue(ParityTable t) {
  return Fen::printText(t);
}

void registerParityTypes() {
  Fen::Registry& r = Fen::Registry::instance();
  if (r.module("TarnParityTypes")) return;
  r.moduleIs(Fen::ModuleInfo{"TarnParityTypes", {Fen::valueClassInfo<ParitySourceId>()}});
}

}  // namespace TarnSwitchTable
