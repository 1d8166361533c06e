#include "Parity.h"

#include <cstdio>

#include "Errors.h"
#include "Fen/Registry.h"
#include "TarnSwitchTable/TarnParityTypes.h"

namespace Tarnctl {
namespace {

using TarnSwitchTable::ParitySourceId;

std::string packedText(const ParitySourceId& id) {
  char word[11];
  std::snprintf(word, sizeof word, "0x%08X", id.u32Value());
  return std::string(word) + " " + id.toStrep() + "\n";
}

// Sets one NAME=VALUE field of `id` through the value class's registered attributes.
void fieldIs(ParitySourceId& id, const Fen::ClassInfo& c, const std::string& field) {
  const auto eq = field.find('=');
  const std::string name = field.substr(0, eq);
  const Fen::AttributeInfo* a = eq == std::string::npos ? nullptr : c.attribute(name);
  if (!a) {
    std::string names;
    for (const auto& attr : c.attributes) names += (names.empty() ? "" : ", ") + attr.name;
    throw ToolError("parity pack: expected FIELD=VALUE with a field of " + names + ", got '" +
                    field + "'");
  }
  try {
    a->parse(&id, field.substr(eq + 1));
  } catch (const Fen::Exception& e) {
    throw ToolError("parity pack: " + field + ": " + e.what());
  }
}

}  // namespace

std::string parityPackText(const std::vector<std::string>& fields) {
  TarnSwitchTable::registerParityTypes();
  const Fen::ClassInfo* c = Fen::Registry::instance().classInfo(ParitySourceId::fenTypeName);
  if (!c)
    throw ToolError("parity pack: no registered class " + std::string(ParitySourceId::fenTypeName));
  ParitySourceId id;
  for (const std::string& f : fields) fieldIs(id, *c, f);
  return packedText(id);
}

std::string parityUnpackText(const std::string& word) {
  try {
    return packedText(ParitySourceId::paritySourceIdFromU32(Fen::parseText<Fen::U32>(word)));
  } catch (const Fen::Exception& e) {
    throw ToolError("parity unpack: " + word + ": " + e.what());
  }
}

}  // namespace Tarnctl
