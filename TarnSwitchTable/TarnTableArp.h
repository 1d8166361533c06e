#pragma once
// ARP table: (egress port, rewrite index) -> next-hop rewrite data (destination MAC and VLAN),
// kept in the rewrite memory of every egress processor (two ports each, 64 rows per port).
#include <tuple>

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

class ArpEntry : public DirectEntry<ArpEntry, ArpKey, ArpResult> {
 public:
  static constexpr const char* fenTypeName = "TarnSwitchTable::ArpEntry";
};

Fen::Ptr<ArpEntry> arpEntryFactory(const ArpKey& key);

class ArpTable : public DirectTable<ArpEntry> {
 public:
  using DirectTable::DirectTable;
  const char* fwkType() const override { return "TarnSwitchTable::ArpTable"; }
  Fen::Ptr<DirectBaseConvertor> profileConvertorFactory() const override;
  const Fen::TraceHandle& moduleTrace() const override;
};

Fen::Ptr<ArpTable> arpTableFactory(const std::string& name);

class ArpConvertor : public DirectConvertor<ArpEntry> {
 public:
  static constexpr U32 entriesPerPort = 64;
  static constexpr U32 portsPerProcessor = 2;
  static constexpr U8 arpHwEntryWords = 4;

  explicit ArpConvertor(ArpTable* table) : DirectConvertor(table, arpHwEntryWords) {}
  const char* fwkType() const override { return "TarnSwitchTable::ArpConvertor"; }

  // One table: rows 0 .. ports x 64 - 1, registers of egress processor p for rows of its ports.
  void doCreateHwTables(TableState state, bool resetHw) override;
  void handleInitialized() override;
  void setStaticBuffer(HwIndex index, U32* buffer) override;

  HwIndex hwIndexFromKey(const ArpKey& key) const override;
  // The key of a row; a port above the ChipPortId null value raises its range exception.
  ArpKey keyFromHwIndex(HwIndex index) const override;
  void encodeResult(const ArpResult& result, U32* buffer) const override;
  ArpResult decodeResult(const U32* words) const override;
};

}  // namespace TarnSwitchTable
