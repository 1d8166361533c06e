#pragma once
// Port configuration table: per chip port, its VLAN tagging mode and whether transmission and
// Layer-2 forwarding are disabled, in one egress register per port.
#include <string>
#include <tuple>

#include "TarnSwitchTable/TarnTableLayer2.h"
#include "TarnSwitchTable/TarnTableLayer2Ports.h"

namespace TarnSwitchTable {

// VLAN tagging mode of a port. Values without a name (3 and up) are kept as numbers.
enum class PortConfigMode : U32 { trunk = 0, access = 1, qinq = 2 };

}  // namespace TarnSwitchTable

namespace Fen {
// A mode prints as its name ("trunk", "access", "qinq") or, without one, as its number; it
// parses from either.
template <>
struct ValueTraits<TarnSwitchTable::PortConfigMode> {
  static const char* typeName() { return "TarnSwitchTable::PortConfigMode"; }
  static void print(std::string& out, TarnSwitchTable::PortConfigMode v);
  static TarnSwitchTable::PortConfigMode parse(TextReader& in);
  static U32 hash(U32 seed, TarnSwitchTable::PortConfigMode v) {
    return hashMix(seed, U32(v), sizeof(U32));
  }
};
}  // namespace Fen

namespace TarnSwitchTable {

struct PortConfigKey : PortKey<PortConfigKey> {
  using PortKey::PortKey;
  static constexpr const char* fenTypeName = "TarnSwitchTable::PortConfigKey";
};

struct PortConfigResult : Fen::Value<PortConfigResult> {
  PortConfigMode portMode = PortConfigMode::access;
  bool txDisabled = false;
  bool l2ForwardingDisabled = false;

  PortConfigResult() = default;
  PortConfigResult(PortConfigMode mode, bool tx, bool l2)
      : portMode(mode), txDisabled(tx), l2ForwardingDisabled(l2) {}
  // "portMode:<mode> txDisabled:<bool> l2ForwardingDisabled:<bool>"
  std::string shortStrep() const;

  static constexpr const char* fenTypeName = "TarnSwitchTable::PortConfigResult";
  static constexpr auto fenFields() {
    return std::make_tuple(
        Fen::field("portMode", &PortConfigResult::portMode),
        Fen::field("txDisabled", &PortConfigResult::txDisabled),
        Fen::field("l2ForwardingDisabled", &PortConfigResult::l2ForwardingDisabled));
  }
};

class PortConfigTable;
class PortConfigConvertorLayer2All;

// One copy, row = port, four words of which word 0 holds the mode in bits 1..0, txDisabled in
// bit 2 and l2ForwardingDisabled in bit 3. The register is "egress/port[<i>]/cfg" before chip
// revision 2 and "egress/port[<i>]/vlan_cfg" from it.
struct PortConfigLayout : PortRows<PortConfigKey> {
  using Key = PortConfigKey;
  using Result = PortConfigResult;
  using Table = PortConfigTable;
  using Convertor = PortConfigConvertorLayer2All;
  static constexpr const char* moduleName = "TarnTablePortConfig";
  static constexpr const char* tableName = "TarnSwitchTable::PortConfigTable";
  static constexpr const char* entryName = nullptr;
  static constexpr const char* convertorName = "TarnSwitchTable::PortConfigConvertorLayer2All";
  static constexpr const char* hwTableWord = "PortConfig";
  static constexpr U8 hwEntryWords = 4;
  static constexpr bool rewritesFlagged = false;  // its one copy cannot disagree with itself

  static PortConfigResult defaultResult(const Key&) { return PortConfigResult(); }
  explicit PortConfigLayout(const TarnSwitch::ChipProfile& p)
      : PortRows(p, false), revision(p.revision) {}
  void declare(const HwTables& hw) const;
  // A mode of 4 or more keeps its low two bits.
  void encodeRow(const Key&, const Result& r, U8, U32* b) const {
    b[0] = (U32(r.portMode) & 3u) | (r.txDisabled ? 4u : 0u) | (r.l2ForwardingDisabled ? 8u : 0u);
  }
  Result decodeRow(HwIndex, const U32* w) const {
    return Result(PortConfigMode(w[0] & 3u), (w[0] & 4u) != 0, (w[0] & 8u) != 0);
  }

  U8 revision;
};

class PortConfigConvertor : public Layer2Convertor<PortConfigLayout> {
 public:
  using Layer2Convertor::Layer2Convertor;
};
class PortConfigConvertorLayer2All : public PortConfigConvertor {
 public:
  using PortConfigConvertor::PortConfigConvertor;
};
class PortConfigTable : public Layer2Table<PortConfigLayout> {
 public:
  using Layer2Table::Layer2Table;
};

Fen::Ptr<PortConfigTable> portConfigTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
