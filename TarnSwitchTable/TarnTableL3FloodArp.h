#pragma once
// L3 flood ARP table: layer-3 flood identifier -> MAC address and VLAN, held in the look-up
// memory of every egress processor (two ports each). Identifier k takes the memory addresses
// 2k + 128 (the address's top 32 bits) and 2k + 129 (its low 16 bits and the VLAN) in one bank
// and the same two plus 512 in the other; both banks hold the same words. Rows 0..127; the
// identifier 128, the null one, is a key without a row.
#include "Bridging/VlanId.h"
#include "Lanx/EthAddr.h"
#include "TarnSwitch/Parity.h"
#include "TarnSwitchTable/TarnL3SharedTypes.h"
#include "TarnSwitchTable/TarnTableDirectBase.h"

namespace TarnSwitchTable {

struct L3FloodArpResult : Fen::Value<L3FloodArpResult> {
  Lanx::EthAddr ethAddr;
  Bridging::VlanIdOrNone vlanId;

  L3FloodArpResult() = default;
  L3FloodArpResult(Lanx::EthAddr mac, Bridging::VlanIdOrNone vlan) : ethAddr(mac), vlanId(vlan) {}

  static constexpr const char* fenTypeName = "TarnSwitchTable::L3FloodArpResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("ethAddr", &L3FloodArpResult::ethAddr),
                           Fen::field("vlanId", &L3FloodArpResult::vlanId));
  }
};

class L3FloodArpEntry;
class L3FloodArpTable;
class L3FloodArpConvertor;

// The rows of a flood ARP copy: four (data, control) word pairs, each data word to "lum_data"
// and each control word to "lum_ctl_addr_data". Data words 0 and 2 hold MAC octets 0..3, data
// words 4 and 6 octets 4..5 and the VLAN. A control word holds zeros in bits 0..2, its data
// word's parity in bit 3, the memory address in bits 4..13 and a set bit 14.
struct L3FloodArpLayout {
  using Key = TarnSwitch::L3FloodId;
  using Result = L3FloodArpResult;
  using Entry = L3FloodArpEntry;
  using Table = L3FloodArpTable;
  using Convertor = L3FloodArpConvertor;
  static constexpr const char* moduleName = "TarnTableL3FloodArp";
  static constexpr const char* tableName = "TarnSwitchTable::L3FloodArpTable";
  static constexpr const char* entryName = "TarnSwitchTable::L3FloodArpEntry";
  static constexpr const char* entryTextOpen = "L3FloodArpEntry(";
  static constexpr const char* convertorName = "TarnSwitchTable::L3FloodArpConvertor";
  static constexpr const char* hwTableWord = "L3FloodArp";
  static constexpr const char* keyFieldName = "l3FloodId";
  static constexpr U8 hwEntryWords = 8;
  static constexpr HwIndex lastRow = 127;
  // Every processor holds all identifiers; a processor serves two ports.
  static constexpr U32 entriesPerPort = lastRow + 1;
  static constexpr U32 portsPerProcessor = 2;
  // Bits 4..31 of the control words (address, the set bit 14, bits kept) follow the row.
  static constexpr StaticWord staticWords[] = {
      {1, 0xFFFFFFF0u}, {3, 0xFFFFFFF0u}, {5, 0xFFFFFFF0u}, {7, 0xFFFFFFF0u}};

  // A profile of fewer than two ports has no egress processor: the table is kept in software.
  explicit L3FloodArpLayout(const TarnSwitch::ChipProfile& profile);
  void declare(const HwTables& hw) const;

  HwIndex hwIndexFromKey(TarnSwitch::L3FloodId key) const { return key.value(); }
  // An identifier above 128 raises the L3FloodId range exception.
  TarnSwitch::L3FloodId keyFromHwIndex(HwIndex index) const { return index; }
  // The memory addresses of the four pairs: 2k + 128 (word 1), 2k + 640 (word 3), 2k + 129
  // (word 5) and 2k + 641 (word 7), ten bits each, with bit 14 set; bits 0..3 and 15..31 kept.
  void setStaticBuffer(HwIndex index, U32* buffer) const {
    const U32 base = 2 * index;
    control(buffer[1], base + 128);
    control(buffer[3], base + 640);
    control(buffer[5], base + 129);
    control(buffer[7], base + 641);
  }
  void encodeResult(const L3FloodArpResult& result, U32* buffer) const {
    const U64 mac = result.ethAddr.toU64();
    buffer[0] = U32(mac >> 16);
    parity(buffer[1], buffer[0]);
    buffer[2] = buffer[0];
    parity(buffer[3], buffer[2]);
    buffer[4] = (U32(mac & 0xFFFFu) << 16) | result.vlanId.value();
    parity(buffer[5], buffer[4]);
    buffer[6] = buffer[4];
    parity(buffer[7], buffer[6]);
  }
  // From the first bank: words 0 and 4. A VLAN above 4094 raises its range exception.
  L3FloodArpResult decodeResult(const U32* words) const {
    const Bridging::VlanIdOrNone vlan(words[4] & 0xFFFFu);
    return L3FloodArpResult(Lanx::EthAddr::fromU64((U64(words[0]) << 16) | (words[4] >> 16)), vlan);
  }

  U32 processors;

 private:
  static void control(U32& word, U32 address) {
    word = (word & ~0x7FF0u) | ((address & 0x3FFu) << 4) | 0x4000u;
  }
  static void parity(U32& controlWord, U32 data) {
    controlWord = (controlWord & ~0xFu) | (TarnSwitch::parity32Bit(data) << 3);
  }
};

class L3FloodArpEntry : public DirectEntry<L3FloodArpLayout> {};
class L3FloodArpConvertor : public DirectConvertor<L3FloodArpLayout> {
 public:
  using DirectConvertor::DirectConvertor;
};
class L3FloodArpTable : public DirectTable<L3FloodArpLayout> {
 public:
  using DirectTable::DirectTable;
};

// A new entry of that identifier with a zero MAC and VLAN 0.
Fen::Ptr<L3FloodArpEntry> l3FloodArpEntryFactory(TarnSwitch::L3FloodId id);
Fen::Ptr<L3FloodArpTable> l3FloodArpTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
