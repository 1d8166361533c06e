#pragma once
// L3 LAG table: layer-3 link-aggregation index -> the ingress ports of the aggregate and whether
// its packets to the CPU go at CPU priority. One copy per ingress pipeline, written through the
// indirect registers of its layer-3 ingress processor; rows 0..55 (indexes 56 and 57, the null
// index, are keys without a row).
#include "TarnSwitch/L3LagIndex.h"
#include "TarnSwitch/Parity.h"
#include "TarnSwitchTable/TarnL3SharedTypes.h"
#include "TarnSwitchTable/TarnTableDirectBase.h"

namespace TarnSwitchTable {

struct L3LagResult : Fen::Value<L3LagResult> {
  TarnSwitch::IngressPortMask portMask;
  bool cpuPriority = false;

  L3LagResult() = default;
  L3LagResult(TarnSwitch::IngressPortMask mask, bool priority)
      : portMask(mask), cpuPriority(priority) {}

  static constexpr const char* fenTypeName = "TarnSwitchTable::L3LagResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("portMask", &L3LagResult::portMask),
                           Fen::field("cpuPriority", &L3LagResult::cpuPriority));
  }
};

class L3LagEntry;
class L3LagTable;
class L3LagConvertor;

// The rows of an L3 LAG copy, three words, with P the chip's port count: bits 0..P the port
// mask, bit P+1 `cpuPriority`, bit P+2 the parity of words 0 and 1; word 2 selects the row at
// the control register: bits 0..5 the index, bits 17..21 the table selector 19.
struct L3LagLayout {
  using Key = TarnSwitch::L3LagIndex;
  using Result = L3LagResult;
  using Entry = L3LagEntry;
  using Table = L3LagTable;
  using Convertor = L3LagConvertor;
  static constexpr const char* moduleName = "TarnTableL3Lag";
  static constexpr const char* tableName = "TarnSwitchTable::L3LagTable";
  static constexpr const char* entryName = "TarnSwitchTable::L3LagEntry";
  static constexpr const char* entryTextOpen = "L3LagEntry(";
  static constexpr const char* convertorName = "TarnSwitchTable::L3LagConvertor";
  static constexpr const char* hwTableWord = "L3Lag";
  static constexpr const char* keyFieldName = "l3LagIndex";
  static constexpr U8 hwEntryWords = 3;
  static constexpr HwIndex lastRow = 55;
  static constexpr U32 tableSelector = 19;
  // Word 2 (index and selector, the rest kept) follows the row alone.
  static constexpr StaticWord staticWords[] = {{2, 0xFFFFFFFFu}};

  // A profile whose port mask, priority and parity bits would not fit words 0 and 1 (more than
  // 61 ports) raises the range exception; one without an ingress pipeline gives no copy.
  explicit L3LagLayout(const TarnSwitch::ChipProfile& profile);
  void declare(const HwTables& hw) const { declareL3IngressCopies(hw, pipelines, lastRow); }

  HwIndex hwIndexFromKey(TarnSwitch::L3LagIndex key) const { return key.value(); }
  // An index above 57 raises the L3LagIndex range exception.
  TarnSwitch::L3LagIndex keyFromHwIndex(HwIndex index) const { return index; }
  // Bits 64..69: the index; bits 81..85: the selector 19; every other bit kept.
  void setStaticBuffer(HwIndex index, U32* buffer) const {
    buffer[2] = (buffer[2] & ~(0x3Fu | (0x1Fu << 17))) | (index & 0x3Fu) | (tableSelector << 17);
  }
  void encodeResult(const L3LagResult& result, U32* buffer) const {
    setRowBits(buffer, 0, ports + 1, result.portMask.hardwareBitmask(ports));
    setRowBits(buffer, ports + 1, 1, result.cpuPriority ? 1 : 0);
    setRowBits(buffer, ports + 2, 1, TarnSwitch::parityU32Array(buffer, 2));
  }
  L3LagResult decodeResult(const U32* words) const {
    return L3LagResult(
        TarnSwitch::IngressPortMask::ingressPortMaskFromHw(rowBits(words, 0, ports + 1), ports),
        rowBits(words, ports + 1, 1) != 0);
  }

  U32 ports;
  U32 pipelines;
};

class L3LagEntry : public DirectEntry<L3LagLayout> {};
class L3LagConvertor : public DirectConvertor<L3LagLayout> {
 public:
  using DirectConvertor::DirectConvertor;
};
class L3LagTable : public DirectTable<L3LagLayout> {
 public:
  using DirectTable::DirectTable;
};

// A new entry of that index with an empty result.
Fen::Ptr<L3LagEntry> l3LagEntryFactory(TarnSwitch::L3LagIndex index);
Fen::Ptr<L3LagTable> l3LagTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
