#pragma once
// ARP table: (egress port, rewrite index) -> next-hop rewrite data (destination MAC and VLAN),
// kept in the rewrite memory of every egress processor (two ports each, 64 rows per port).
#include "Bridging/VlanId.h"
#include "Lanx/EthAddr.h"
#include "TarnSwitch/ChipPortId.h"
#include "TarnSwitch/Parity.h"
#include "TarnSwitchTable/TarnTableDirectBase.h"

namespace TarnSwitchTable {

// Rewrite index of an ARP key: six bits reach hardware, so 0..63.
struct ArpRewriteIndexTag {
  static constexpr const char* name = "TarnSwitchTable::ArpKey::rewriteIndex";
  static const std::string& message();
};
using ArpRewriteIndex = Fen::Ranged<ArpRewriteIndexTag, U8, 0, 63>;

struct ArpKey : Fen::Value<ArpKey> {
  TarnSwitch::ChipPortId egressPort;
  ArpRewriteIndex rewriteIndex;

  ArpKey() = default;
  ArpKey(TarnSwitch::ChipPortId port, ArpRewriteIndex index)
      : egressPort(port), rewriteIndex(index) {}

  static constexpr const char* fenTypeName = "TarnSwitchTable::ArpKey";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("egressPort", &ArpKey::egressPort),
                           Fen::field("rewriteIndex", &ArpKey::rewriteIndex));
  }
};

struct ArpResult : Fen::Value<ArpResult> {
  Lanx::EthAddr ethAddr;
  Bridging::VlanIdOrNone vlanId;

  ArpResult() = default;
  ArpResult(Lanx::EthAddr mac, Bridging::VlanIdOrNone vlan) : ethAddr(mac), vlanId(vlan) {}
  std::string resultString() const { return toStrep(); }

  static constexpr const char* fenTypeName = "TarnSwitchTable::ArpResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("ethAddr", &ArpResult::ethAddr),
                           Fen::field("vlanId", &ArpResult::vlanId));
  }
};

class ArpEntry;
class ArpTable;
class ArpConvertor;

// The ARP rows of a chip: row = port x 64 + rewrite index. Words 0 and 2 hold the MAC and the
// VLAN ("lum_data"); words 1 and 3 their parity and the row's address ("lum_ctl_addr_data").
struct ArpLayout {
  using Key = ArpKey;
  using Result = ArpResult;
  using Entry = ArpEntry;
  using Table = ArpTable;
  using Convertor = ArpConvertor;
  static constexpr const char* moduleName = "TarnTableArp";
  static constexpr const char* tableName = "TarnSwitchTable::ArpTable";
  static constexpr const char* entryName = "TarnSwitchTable::ArpEntry";
  static constexpr const char* convertorName = "TarnSwitchTable::ArpConvertor";
  static constexpr const char* hwTableWord = "Arp";
  static constexpr U32 entriesPerPort = 64;
  static constexpr U32 portsPerProcessor = 2;
  static constexpr U8 hwEntryWords = 4;
  // Bits 4..31 of words 1 and 3 (row address, the always-set bit 14, bits kept) follow the row.
  static constexpr StaticWord staticWords[] = {{1, 0xFFFFFFF0u}, {3, 0xFFFFFFF0u}};

  // A profile without ports raises the range exception.
  explicit ArpLayout(const TarnSwitch::ChipProfile& profile);
  // One table, rows 0 .. ports x 64 - 1; processor p's registers for the rows of its ports.
  void declare(const HwTables& hw) const;

  HwIndex hwIndexFromKey(const ArpKey& key) const {
    return (HwIndex(key.egressPort.value()) << 6) + key.rewriteIndex.value();
  }
  // A port above the ChipPortId null value raises its range exception.
  ArpKey keyFromHwIndex(HwIndex index) const {
    return ArpKey(TarnSwitch::ChipPortId(index >> 6), ArpRewriteIndex(index & 0x3Fu));
  }
  // Bits 13..4 of words 1 and 3: the row address, whose bit 9 tells the processor's two ports
  // apart, bits 6..1 hold the rewrite index and bit 0 the half of the row (bits 7 and 8 stay 0);
  // bit 14 is always set.
  void setStaticBuffer(HwIndex index, U32* buffer) const {
    const U32 address = (((index >> 6) & 1u) << 9) | ((index & 0x3Fu) << 1);
    buffer[1] = (buffer[1] & ~0x7FF0u) | (address << 4) | 0x4000u;
    buffer[3] = (buffer[3] & ~0x7FF0u) | ((address + 1) << 4) | 0x4000u;
  }
  // Words 0 and 2 hold MAC octets 0..3 and 4..5 with the VLAN; bit 3 of words 1 and 3 their
  // parity, bits 2..0 zero.
  void encodeResult(const ArpResult& result, U32* buffer) const {
    const U64 mac = result.ethAddr.toU64();
    buffer[0] = U32(mac >> 16);
    buffer[2] = (U32(mac & 0xFFFFu) << 16) | result.vlanId.value();
    buffer[1] = (buffer[1] & ~0xFu) | (TarnSwitch::parity32Bit(buffer[0]) << 3);
    buffer[3] = (buffer[3] & ~0xFu) | (TarnSwitch::parity32Bit(buffer[2]) << 3);
  }
  ArpResult decodeResult(const U32* words) const {
    const Bridging::VlanIdOrNone vlan(words[2] & 0xFFFFu);
    return ArpResult(Lanx::EthAddr::fromU64((U64(words[0]) << 16) | (words[2] >> 16)), vlan);
  }

  U32 ports;
};

class ArpEntry : public DirectEntry<ArpLayout> {};
class ArpConvertor : public DirectConvertor<ArpLayout> {
 public:
  using DirectConvertor::DirectConvertor;
};
class ArpTable : public DirectTable<ArpLayout> {
 public:
  using DirectTable::DirectTable;
};

Fen::Ptr<ArpEntry> arpEntryFactory(const ArpKey& key);
Fen::Ptr<ArpTable> arpTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
