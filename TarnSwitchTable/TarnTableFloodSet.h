#pragma once
// Flood set table: per VLAN, the ports that receive unknown-unicast and unknown-multicast floods,
// kept by every ingress pipeline and by the CPU pipeline where the chip has one. Entries are
// whole records (VLAN, masks, time of the last update).
#include <string>
#include <tuple>

#include "Bridging/VlanId.h"
#include "Keel/BitStream.h"
#include "TarnSwitchTable/TarnTableLayer2.h"

namespace TarnSwitchTable {

struct FloodSetResult : Fen::Value<FloodSetResult> {
  U64 uucPortMask = 0;  // bit n: chip port n
  U64 umcPortMask = 0;

  FloodSetResult() = default;
  FloodSetResult(U64 uuc, U64 umc) : uucPortMask(uuc), umcPortMask(umc) {}
  // "uucPortMask:0x%012llx umcPortMask:0x%012llx"
  std::string shortStrep() const;

  static constexpr const char* fenTypeName = "TarnSwitchTable::FloodSetResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("uucPortMask", &FloodSetResult::uucPortMask),
                           Fen::field("umcPortMask", &FloodSetResult::umcPortMask));
  }
};

struct FloodSetEntry : Fen::Value<FloodSetEntry> {
  Bridging::VlanId key;
  FloodSetResult result;
  double lastUpdate = 0;  // seconds

  FloodSetEntry() = default;
  FloodSetEntry(Bridging::VlanId vlan, FloodSetResult r, double when = 0)
      : key(vlan), result(r), lastUpdate(when) {}

  static constexpr const char* fenTypeName = "TarnSwitchTable::FloodSetEntry";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("key", &FloodSetEntry::key),
                           Fen::field("result", &FloodSetEntry::result),
                           Fen::field("lastUpdate", &FloodSetEntry::lastUpdate));
  }
};

class FloodSetTable;
class FloodSetConvertorLayer2All;

// Ingress copy p (HwTableId p, "pipeline[<p>]/processor/") and, when the chip has a CPU pipeline,
// the CPU copy (HwTableId K, "cpu_pipeline[0]/processor/"), each with rows 1..4094 (row = VLAN)
// of five words: "floodset_data0".."floodset_data3", "floodset_ctl". With len the port count as
// an 8-bit number (below 64), the 160-bit row holds uucPortMask in bits 0..len-1, umcPortMask in
// bits len..2len-1 and the VLAN field (the VLAN in bits 0..11, bit 15 always set) in bits
// 128..143.
struct FloodSetLayout {
  using Key = Bridging::VlanId;
  using Result = FloodSetEntry;
  using Table = FloodSetTable;
  using Convertor = FloodSetConvertorLayer2All;
  static constexpr const char* moduleName = "TarnTableFloodSet";
  static constexpr const char* tableName = "TarnSwitchTable::FloodSetTable";
  static constexpr const char* entryName = "TarnSwitchTable::FloodSetEntry";
  static constexpr const char* convertorName = "TarnSwitchTable::FloodSetConvertorLayer2All";
  static constexpr const char* hwTableWord = "FloodSet";
  static constexpr const char* keyFieldName = "vlanId";
  static constexpr U8 hwEntryWords = 5;
  static constexpr U32 vlanFlag = 0x8000;

  static FloodSetEntry defaultResult(const Key& vlan) { return FloodSetEntry(vlan, {}); }
  // A profile without any pipeline has no copy to keep (range exception).
  explicit FloodSetLayout(const TarnSwitch::ChipProfile& p);
  void declare(const HwTables& hw) const;
  HwIndex hwIndexFromKey(const Key& vlan) const { return vlan.value(); }
  // Row 0 and rows past 4094 raise the VlanId range exception.
  Key keyFromHwIndex(HwIndex row) const { return Key(row); }
  // A port count of 64 or more stops the process in the packer ("len < 64").
  void encodeRow(const Key& vlan, const FloodSetEntry& e, U8, U32* b) const {
    U8* bytes = reinterpret_cast<U8*>(b);  // bit n is bit n % 8 of byte n / 8
    Keel::bitStreamSet(bytes, 0, len, e.result.uucPortMask);
    Keel::bitStreamSet(bytes, len, len, e.result.umcPortMask);
    b[4] = vlan.value() | vlanFlag;
  }
  FloodSetEntry decodeRow(HwIndex row, const U32* w) const {
    if (len == 0) return FloodSetEntry(keyFromHwIndex(row), {});
    return FloodSetEntry(keyFromHwIndex(row), {Keel::bitStreamGet(w, 0, len - 1u),
                                               Keel::bitStreamGet(w, len, 2u * len - 1u)});
  }

  U8 len;
  U32 pipelines;
  bool cpu;
};

class FloodSetConvertor : public Layer2Convertor<FloodSetLayout> {
 public:
  using Layer2Convertor::Layer2Convertor;
};
class FloodSetConvertorLayer2All : public FloodSetConvertor {
 public:
  using FloodSetConvertor::FloodSetConvertor;
};
class FloodSetTable : public Layer2Table<FloodSetLayout> {
 public:
  using Layer2Table::entryIs;
  using Layer2Table::Layer2Table;
  // Stores the entry under its own key and programs it.
  void entryIs(const FloodSetEntry& e) { entryIs(e.key, e); }
  // The scratch entry is stored under the scratch key, whatever key it names.
  void scratchEntryIs() override;
};

Fen::Ptr<FloodSetTable> floodSetTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
