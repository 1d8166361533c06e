#pragma once
// LPM /11 table: the first stage of the longest-prefix match, one row per /11 block of each of
// the four routing instances (row = vrfId x 2048 + address bits 31..21), mirrored to every L3
// processor. Longer prefixes live in the stride tables (TarnTableLpmTables.h).
#include "TarnSwitch/LpmKey.h"
#include "TarnSwitch/Parity.h"
#include "TarnSwitchTable/TarnLpmSharedTypes.h"
#include "TarnSwitchTable/TarnTableDirectBase.h"

namespace TarnSwitchTable {

struct Lpm11Result : Fen::Value<Lpm11Result> {
  EntryCellResult cellResult;
  bool cpuTrap = false;

  Lpm11Result() = default;
  Lpm11Result(const EntryCellResult& cell, bool trap) : cellResult(cell), cpuTrap(trap) {}
  std::string resultString() const;

  static constexpr const char* fenTypeName = "TarnSwitchTable::Lpm11Result";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("cellResult", &Lpm11Result::cellResult),
                           Fen::field("cpuTrap", &Lpm11Result::cpuTrap));
  }
};

// Routing instances the LPM tables hold apart: 0..3 (two bits reach hardware).
constexpr U8 lpmMaxVrfId = 3;
// Raises "<table>::vrfId > 3 not allowed" for a routing instance above 3.
void lpmRefuseVrf(const char* tableName, const TarnSwitch::LpmKey& key);

class Lpm11Entry;
class Lpm11Table;
class Lpm11Convertor;

// Rows of two words. Word 0: the cell's word (bits 0..14, ACL bit at 13), the valid bit 12, the
// trap bit 15 and the even parity of word 0 in bit 16. Word 1 depends only on the row: the low
// 12 bits of its index in bits 0..11 and bits 17..20 set ("hash_data0" and "hash_ctl").
struct Lpm11Layout {
  using Key = TarnSwitch::LpmKey;
  using Result = Lpm11Result;
  using Entry = Lpm11Entry;
  using Table = Lpm11Table;
  using Convertor = Lpm11Convertor;
  static constexpr const char* moduleName = "TarnTableLpm11";
  static constexpr const char* tableName = "TarnSwitchTable::Lpm11Table";
  static constexpr const char* entryName = "TarnSwitchTable::Lpm11Entry";
  static constexpr const char* entryTextOpen = "Lpm11Entry(";
  static constexpr const char* convertorName = "TarnSwitchTable::Lpm11Convertor";
  static constexpr const char* hwTableWord = "Lpm11Direct";
  static constexpr U8 hwEntryWords = 2;
  // Each programmed entry is kept in the ring trace as well.
  static constexpr bool programmingInRing = true;
  static constexpr HwIndex lastRow = 0x1FFF;
  static constexpr StaticWord staticWords[] = {{1, 0xFFFFFFFFu}};

  explicit Lpm11Layout(const TarnSwitch::ChipProfile& profile)
      : l3Processors(profile.pipelineCount / 2u), hwApi(profile.hwApi) {}
  // Copy i (one per L3 processor): rows 0..0x1FFF, registers "ingress/processor_l3[i]/...".
  void declare(const HwTables& hw) const;

  static void refuseKey(const Lpm11Table&, const Key& key) { lpmRefuseVrf(tableName, key); }
  static const char* keyFault(const Lpm11Table&, const Key& key) {
    return key.prefix.len() == 11 ? nullptr : "key.prefix().len() == 11";
  }
  static const char* resultFault(const Lpm11Table&, const Result& r) {
    return r.cellResult.nexthopFault();
  }

  static HwIndex hwIndexFromKey(const Key& k) {
    return (HwIndex(k.vrfId) << 11) | (k.prefix.address().value() >> 21);
  }
  static Key keyFromHwIndex(HwIndex index) {
    return Key(U8(index >> 11), Lanx::Prefix(Lanx::Ip4Addr((index & 0x7FFu) << 21), 11));
  }
  static void setStaticBuffer(HwIndex index, U32* b) {
    b[1] = (b[1] & ~0x003E0FFFu) | (index & 0xFFFu) | (0xFu << 17);
  }
  void encodeRow(const RowItem<Lpm11Layout>& e, HwIndex row, U8, U32* b) const {
    const U32 cell = e.result.cellResult.hwEncoding(true, hwApi) & 0x7FFFu;
    b[0] =
        (b[0] & ~0x1FFFFu) | cell | (e.valid ? 1u << 12 : 0u) | (e.result.cpuTrap ? 1u << 15 : 0u);
    b[0] |= TarnSwitch::parityU32Array(b, 1) << 16;
    setStaticBuffer(row, b);
  }
  bool decodeRow(HwIndex row, const U32* w, RowItem<Lpm11Layout>& e) const {
    e.key = keyFromHwIndex(row);
    e.result.cpuTrap = (w[0] >> 15) & 1u;
    e.result.cellResult = EntryCellResult::fromHwEncoding(w[0] & 0x7FFFu, 11, true, hwApi);
    return e.valid = (w[0] >> 12) & 1u;
  }

  U32 l3Processors;
  TarnSwitch::ProfileHwApi hwApi;
};

class Lpm11Entry : public DirectEntry<Lpm11Layout> {};
class Lpm11Convertor : public DirectConvertor<Lpm11Layout> {
 public:
  using DirectConvertor::DirectConvertor;
};
class Lpm11Table : public DirectTable<Lpm11Layout> {
 public:
  using DirectTable::DirectTable;
};

Fen::Ptr<Lpm11Table> lpm11TableFactory(const std::string& name);

}  // namespace TarnSwitchTable
