#pragma once
// ARP table: (egress port, rewrite index) -> next-hop rewrite data (destination MAC and VLAN),
// kept in the rewrite memory of every egress processor (two ports each, 64 rows per port).
#include "Bridging/VlanId.h"
#include "Lanx/EthAddr.h"
#include "TarnSwitch/ChipPortId.h"
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
  HwIndex hwIndexFromKey(const ArpKey& key) const;
  // A port above the ChipPortId null value raises its range exception.
  ArpKey keyFromHwIndex(HwIndex index) const;
  void setStaticBuffer(HwIndex index, U32* buffer) const;
  void encodeResult(const ArpResult& result, U32* buffer) const;
  ArpResult decodeResult(const U32* words) const;

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
extern template class DirectTable<ArpLayout>;
extern template class DirectConvertor<ArpLayout>;

Fen::Ptr<ArpEntry> arpEntryFactory(const ArpKey& key);
Fen::Ptr<ArpTable> arpTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
