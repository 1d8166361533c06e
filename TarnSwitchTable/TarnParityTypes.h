#pragma once
// Parity source identifiers: which parity-protected hardware table, in which pipeline, reported
// a parity error, as a typed value and as one packed 32-bit word (table number in bits 0..7,
// pipeline in bits 24..31), so an identifier travels in a single word.
#include <string>

#include "Fen/Enum.h"
#include "Fen/Value.h"
#include "TarnSwitch/PipeId.h"

namespace TarnSwitchTable {

// The tables that carry parity. The numbers are part of the packed form.
enum class ParityTable : Fen::U8 { macVlan = 0, floodSet = 1, vlanMembership = 2 };

}  // namespace TarnSwitchTable

namespace Fen {
template <>
struct EnumNames<TarnSwitchTable::ParityTable> {
  static constexpr const char* typeName = "TarnSwitchTable::ParityTable";
  static constexpr const char* names[] = {"macVlan", "floodSet", "vlanMembership"};
  // Any 8-bit number is kept (a packed word's table number is taken over as it stands); only
  // 0..2 have names.
  static constexpr U64 maxValue = 255;
  // "TarnSwitchTable::ParityTable::value > 255 not allowed"
  static const std::string& message();
};
}  // namespace Fen

namespace TarnSwitchTable {

// The table of number `n` (above 255: the range exception), or of a name or a number in text (an
// unknown name: the text-form exception).
ParityTable ParityTableInstance(Fen::U32 n);
ParityTable ParityTableInstance(const std::string& text);
// The table's name, or its number when it has none.
std::string stringValue(ParityTable t);

struct ParitySourceId : Fen::Value<ParitySourceId> {
  ParityTable parityTable = ParityTable::macVlan;
  TarnSwitch::PipeId pipeId;

  ParitySourceId() = default;
  ParitySourceId(ParityTable t, TarnSwitch::PipeId p) : parityTable(t), pipeId(p) {}

  // The packed word: pipeId in bits 24..31, parityTable in bits 0..7, the rest zero.
  Fen::U32 u32Value() const {
    return (Fen::U32(pipeId.value()) << 24) | static_cast<Fen::U32>(parityTable);
  }
  // The identifier of a packed word; bits 8..23 are ignored, the table number is taken as it
  // stands, and a pipe above 13 raises the PipeId range exception.
  static ParitySourceId paritySourceIdFromU32(Fen::U32 w) {
    const TarnSwitch::PipeId pipe(w >> 24);
    return ParitySourceId(static_cast<ParityTable>(w & 0xFFu), pipe);
  }

  static constexpr const char* fenTypeName = "TarnSwitchTable::ParitySourceId";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("parityTable", &ParitySourceId::parityTable),
                           Fen::field("pipeId", &ParitySourceId::pipeId));
  }
};

// Registers the module "TarnParityTypes" (the ParitySourceId value class) unless it is already.
void registerParityTypes();

}  // namespace TarnSwitchTable
