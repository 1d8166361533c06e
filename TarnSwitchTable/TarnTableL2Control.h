#pragma once
// L2 control table: per chip port, three Layer-2 learning controls, in one register per port in
// the ingress pipeline that owns the port.
#include <string>
#include <tuple>

#include "TarnSwitchTable/TarnTableLayer2.h"
#include "TarnSwitchTable/TarnTableLayer2Ports.h"

namespace TarnSwitchTable {

struct L2ControlKey : PortKey<L2ControlKey> {
  using PortKey::PortKey;
  static constexpr const char* fenTypeName = "TarnSwitchTable::L2ControlKey";
};

struct L2ControlResult : Fen::Value<L2ControlResult> {
  bool isMlag = false;
  bool learnOnly = false;
  bool learnDisabled = false;

  L2ControlResult() = default;
  L2ControlResult(bool mlag, bool only, bool disabled)
      : isMlag(mlag), learnOnly(only), learnDisabled(disabled) {}
  // "isMlag:<bool> learnOnly:<bool> learnDisabled:<bool>"
  std::string shortStrep() const;

  static constexpr const char* fenTypeName = "TarnSwitchTable::L2ControlResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("isMlag", &L2ControlResult::isMlag),
                           Fen::field("learnOnly", &L2ControlResult::learnOnly),
                           Fen::field("learnDisabled", &L2ControlResult::learnDisabled));
  }
};

class L2ControlTable;
class L2ControlConvertorLayer2All;

// One copy, row = port, one word: isMlag in bit 0, learnOnly in bit 1, learnDisabled in bit 2.
// Port i's register is "pipeline[<i / P>]/port[<i % P>]/l2_control".
struct L2ControlLayout : PortRows<L2ControlKey> {
  using Key = L2ControlKey;
  using Result = L2ControlResult;
  using Table = L2ControlTable;
  using Convertor = L2ControlConvertorLayer2All;
  static constexpr const char* moduleName = "TarnTableL2Control";
  static constexpr const char* tableName = "TarnSwitchTable::L2ControlTable";
  static constexpr const char* entryName = nullptr;
  static constexpr const char* convertorName = "TarnSwitchTable::L2ControlConvertorLayer2All";
  static constexpr const char* hwTableWord = "L2Control";
  static constexpr U8 hwEntryWords = 1;

  static L2ControlResult defaultResult(const Key&) { return L2ControlResult(); }
  explicit L2ControlLayout(const TarnSwitch::ChipProfile& p) : PortRows(p, true) {}
  void declare(const HwTables& hw) const;
  void encodeRow(const Key&, const Result& r, U8, U32* b) const {
    b[0] = (r.isMlag ? 1u : 0u) | (r.learnOnly ? 2u : 0u) | (r.learnDisabled ? 4u : 0u);
  }
  Result decodeRow(HwIndex, const U32* w) const {
    return Result((w[0] & 1u) != 0, (w[0] & 2u) != 0, (w[0] & 4u) != 0);
  }
};

class L2ControlConvertor : public Layer2Convertor<L2ControlLayout> {
 public:
  using Layer2Convertor::Layer2Convertor;
};
class L2ControlConvertorLayer2All : public L2ControlConvertor {
 public:
  using L2ControlConvertor::L2ControlConvertor;
};
class L2ControlTable : public Layer2Table<L2ControlLayout> {
 public:
  using Layer2Table::Layer2Table;
};

Fen::Ptr<L2ControlTable> l2ControlTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
