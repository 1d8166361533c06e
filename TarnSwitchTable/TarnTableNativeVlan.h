#pragma once
// Native VLAN table: per chip port, the tag control information given to untagged frames (VLAN,
// drop-eligible indicator, priority), in one register per port.
#include <string>
#include <tuple>

#include "Bridging/VlanId.h"
#include "TarnSwitchTable/TarnTableLayer2.h"
#include "TarnSwitchTable/TarnTableLayer2Ports.h"

namespace TarnSwitchTable {

struct NativeVlanKey : PortKey<NativeVlanKey> {
  using PortKey::PortKey;
  static constexpr const char* fenTypeName = "TarnSwitchTable::NativeVlanKey";
};

struct NativeVlanResult : Fen::Value<NativeVlanResult> {
  Bridging::VlanIdOrNone nativeVlanId = 1;
  U8 dei = 0;  // bit 0 reaches hardware
  U8 pcp = 0;  // bits 2..0 reach hardware

  NativeVlanResult() = default;
  NativeVlanResult(Bridging::VlanIdOrNone vlan, U8 d, U8 p) : nativeVlanId(vlan), dei(d), pcp(p) {}
  // "vlan:%4u dei:0x%X pcp:0x%X"
  std::string shortStrep() const;

  static constexpr const char* fenTypeName = "TarnSwitchTable::NativeVlanResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("nativeVlanId", &NativeVlanResult::nativeVlanId),
                           Fen::field("dei", &NativeVlanResult::dei),
                           Fen::field("pcp", &NativeVlanResult::pcp));
  }
};

class NativeVlanTable;
class NativeVlanConvertorLayer2All;

// One copy, row = port, four words of which word 0 holds an 802.1Q tag control field: the VLAN
// in bits 11..0, dei in bit 12, pcp in bits 15..13. From chip revision 2 port i's register is
// "egress/port[<i>]/vlan_tci"; before it "pipeline[<i / P>]/port[<i % P>]/default_vlan".
struct NativeVlanLayout : PortRows<NativeVlanKey> {
  using Key = NativeVlanKey;
  using Result = NativeVlanResult;
  using Table = NativeVlanTable;
  using Convertor = NativeVlanConvertorLayer2All;
  static constexpr const char* moduleName = "TarnTableNativeVlan";
  static constexpr const char* tableName = "TarnSwitchTable::NativeVlanTable";
  static constexpr const char* entryName = nullptr;
  static constexpr const char* convertorName = "TarnSwitchTable::NativeVlanConvertorLayer2All";
  static constexpr const char* hwTableWord = "NativeVlan";
  static constexpr U8 hwEntryWords = 4;

  static NativeVlanResult defaultResult(const Key&) { return NativeVlanResult(); }
  explicit NativeVlanLayout(const TarnSwitch::ChipProfile& p)
      : PortRows(p, p.revision <= 1), revision(p.revision) {}
  void declare(const HwTables& hw) const;
  // pcp is placed as (pcp x 32) in the upper byte of the 16-bit field: its low 3 bits remain.
  void encodeRow(const Key&, const Result& r, U8, U32* b) const {
    b[0] = (r.nativeVlanId.value() | (U32(r.dei & 1u) << 12) | (U32(r.pcp) * 32u << 8)) & 0xFFFFu;
  }
  // A VLAN field of 4095 raises the VlanIdOrNone range exception.
  Result decodeRow(HwIndex, const U32* w) const {
    return Result(Bridging::VlanIdOrNone(w[0] & 0xFFFu), U8((w[0] >> 12) & 1u),
                  U8((w[0] >> 13) & 7u));
  }

  U8 revision;
};

class NativeVlanConvertor : public Layer2Convertor<NativeVlanLayout> {
 public:
  using Layer2Convertor::Layer2Convertor;
};
class NativeVlanConvertorLayer2All : public NativeVlanConvertor {
 public:
  using NativeVlanConvertor::NativeVlanConvertor;
};
class NativeVlanTable : public Layer2Table<NativeVlanLayout> {
 public:
  using Layer2Table::Layer2Table;
};

Fen::Ptr<NativeVlanTable> nativeVlanTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
