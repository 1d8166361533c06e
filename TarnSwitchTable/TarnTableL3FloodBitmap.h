#pragma once
// L3 flood bitmap table: layer-3 flood identifier -> the ingress ports the flood goes to. Built
// like the L3 LAG table (one copy per ingress pipeline, the same indirect registers), with rows
// 0..127; the identifier 128, the null one, is a key without a row.
#include "TarnSwitch/Parity.h"
#include "TarnSwitchTable/TarnL3SharedTypes.h"
#include "TarnSwitchTable/TarnTableDirectBase.h"

namespace TarnSwitchTable {

struct L3FloodBitmapResult : Fen::Value<L3FloodBitmapResult> {
  TarnSwitch::IngressPortMask portMask;

  L3FloodBitmapResult() = default;
  explicit L3FloodBitmapResult(TarnSwitch::IngressPortMask mask) : portMask(mask) {}

  static constexpr const char* fenTypeName = "TarnSwitchTable::L3FloodBitmapResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("portMask", &L3FloodBitmapResult::portMask));
  }
};

class L3FloodBitmapEntry;
class L3FloodBitmapTable;
class L3FloodBitmapConvertor;

// The rows of a flood bitmap copy, three words, with P the chip's port count (modulo 256): bits
// 0..P-1 the port mask (port P is never written), bit P the parity of words 0 and 1; word 2 bits
// 0..6 the identifier and bits 17..21 the table selector 21. Unlike the L3 LAG row the mask is
// one bit narrower, there is no priority bit, the index has seven bits and the selector is 21.
struct L3FloodBitmapLayout {
  using Key = TarnSwitch::L3FloodId;
  using Result = L3FloodBitmapResult;
  using Entry = L3FloodBitmapEntry;
  using Table = L3FloodBitmapTable;
  using Convertor = L3FloodBitmapConvertor;
  static constexpr const char* moduleName = "TarnTableL3FloodBitmap";
  static constexpr const char* tableName = "TarnSwitchTable::L3FloodBitmapTable";
  static constexpr const char* entryName = "TarnSwitchTable::L3FloodBitmapEntry";
  static constexpr const char* entryTextOpen = "L3FloodBitmapEntry(";
  static constexpr const char* convertorName = "TarnSwitchTable::L3FloodBitmapConvertor";
  static constexpr const char* hwTableWord = "L3FloodBitmap";
  static constexpr const char* keyFieldName = "l3FloodId";
  static constexpr U8 hwEntryWords = 3;
  static constexpr HwIndex lastRow = 127;
  static constexpr U32 tableSelector = 21;
  static constexpr StaticWord staticWords[] = {{2, 0xFFFFFFFFu}};

  // A profile whose mask and parity would not fit words 0 and 1 (more than 63 ports, counted
  // modulo 256) raises the range exception; one without an ingress pipeline gives no copy.
  explicit L3FloodBitmapLayout(const TarnSwitch::ChipProfile& profile);
  void declare(const HwTables& hw) const { declareL3IngressCopies(hw, pipelines, lastRow); }

  HwIndex hwIndexFromKey(TarnSwitch::L3FloodId key) const { return key.value(); }
  // An identifier above 128 raises the L3FloodId range exception.
  TarnSwitch::L3FloodId keyFromHwIndex(HwIndex index) const { return index; }
  // Bits 64..70: the identifier; bits 81..85: the selector 21; every other bit kept.
  void setStaticBuffer(HwIndex index, U32* buffer) const {
    buffer[2] = (buffer[2] & ~(0x7Fu | (0x1Fu << 17))) | (index & 0x7Fu) | (tableSelector << 17);
  }
  void encodeResult(const L3FloodBitmapResult& result, U32* buffer) const {
    setRowBits(buffer, 0, ports, result.portMask.hardwareBitmask(ports));
    setRowBits(buffer, ports, 1, TarnSwitch::parityU32Array(buffer, 2));
  }
  L3FloodBitmapResult decodeResult(const U32* words) const {
    return L3FloodBitmapResult(
        TarnSwitch::IngressPortMask::ingressPortMaskFromHw(rowBits(words, 0, ports), ports));
  }

  U32 ports;
  U32 pipelines;
};

class L3FloodBitmapEntry : public DirectEntry<L3FloodBitmapLayout> {};
class L3FloodBitmapConvertor : public DirectConvertor<L3FloodBitmapLayout> {
 public:
  using DirectConvertor::DirectConvertor;
};
class L3FloodBitmapTable : public DirectTable<L3FloodBitmapLayout> {
 public:
  using DirectTable::DirectTable;
};

// A new entry of that identifier with an empty port mask.
Fen::Ptr<L3FloodBitmapEntry> l3FloodBitmapEntryFactory(TarnSwitch::L3FloodId id);
Fen::Ptr<L3FloodBitmapTable> l3FloodBitmapTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
