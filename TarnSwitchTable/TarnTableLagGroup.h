#pragma once
// LAG group table: per chip port, the link-aggregation group it belongs to. Each ingress
// pipeline keeps the rows of its own ports; the CPU pipeline keeps every port.
#include <string>
#include <tuple>

#include "TarnSwitchTable/TarnTableLayer2.h"
#include "TarnSwitchTable/TarnTableLayer2Ports.h"

namespace TarnSwitchTable {

struct LagGroupKey : PortKey<LagGroupKey> {
  using PortKey::PortKey;
  static constexpr const char* fenTypeName = "TarnSwitchTable::LagGroupKey";
};

struct LagGroupResult : Fen::Value<LagGroupResult> {
  U32 lagGroupId = 0;

  LagGroupResult() = default;
  explicit LagGroupResult(U32 id) : lagGroupId(id) {}
  // "0x%02x" of the group
  std::string shortStrep() const;

  static constexpr const char* fenTypeName = "TarnSwitchTable::LagGroupResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("lagGroupId", &LagGroupResult::lagGroupId));
  }
};

class LagGroupTable;
class LagGroupConvertorLayer2All;

// Ingress copy p (HwTableId p) holds the rows of pipeline p's ports (p x P ..), two words: the
// group ("lag_group_data0"), then the port's one-hot selector in its pipeline with bit 31 always
// set ("lag_ctl"), behind "pipeline[<p>]/processor/"; a write is skipped when word 0 matches. The
// CPU copy (HwTableId K) holds every port as the group alone, "lag_group_data0" behind
// "cpu_pipeline[0]/lag_cpu[0]/". A port of no ingress pipeline has only the CPU copy.
struct LagGroupLayout : PortRows<LagGroupKey> {
  using Key = LagGroupKey;
  using Result = LagGroupResult;
  using Table = LagGroupTable;
  using Convertor = LagGroupConvertorLayer2All;
  static constexpr const char* moduleName = "TarnTableLagGroup";
  static constexpr const char* tableName = "TarnSwitchTable::LagGroupTable";
  static constexpr const char* entryName = nullptr;
  static constexpr const char* convertorName = "TarnSwitchTable::LagGroupConvertorLayer2All";
  static constexpr const char* hwTableWord = "LagGroup";
  static constexpr U8 hwEntryWords = 2;
  static constexpr U8 cpuEncoding = 1;

  static LagGroupResult defaultResult(const Key&) { return LagGroupResult(0); }
  explicit LagGroupLayout(const TarnSwitch::ChipProfile& p) : PortRows(p, true) {}
  void declare(const HwTables& hw) const {
    getIngressPipelineHwTables(hw);
    getCpuPipelineHwTables(hw);
  }
  // One copy per ingress pipeline that has ports, each with the rows of its own ports.
  void getIngressPipelineHwTables(const HwTables& hw) const;
  // The CPU copy, with every port.
  void getCpuPipelineHwTables(const HwTables& hw) const;
  void encodeRow(const Key& k, const Result& r, U8 encoding, U32* b) const {
    b[0] = r.lagGroupId;
    if (encoding != cpuEncoding) b[1] = selector(k.portId.value()) | 0x80000000u;
  }
  Result decodeRow(HwIndex, const U32* w) const { return Result(w[0]); }
  // The ingress copy that holds port `port`'s row (none past the last pipeline: HwTableId K).
  HwTableId ingressCopyOf(U32 port) const { return port / perPipeline; }
};

class LagGroupConvertor : public Layer2Convertor<LagGroupLayout> {
 public:
  using Layer2Convertor::Layer2Convertor;
};
class LagGroupConvertorLayer2All : public LagGroupConvertor {
 public:
  using LagGroupConvertor::LagGroupConvertor;
  // Writes the port's row of its own pipeline's copy alone (nothing for a port of no pipeline).
  void ingressPipelineHwTableEntryIs(const LagGroupKey& k, const LagGroupResult& r) {
    const HwTableId id = layout().ingressCopyOf(k.portId.value());
    if (id < layout().pipelines) copyEntryIs(id, k, r);
  }
  // Writes the port's row of the CPU copy alone.
  void cpuPipelineHwTableEntryIs(const LagGroupKey& k, const LagGroupResult& r) {
    copyEntryIs(layout().pipelines, k, r);
  }
};
class LagGroupTable : public Layer2Table<LagGroupLayout> {
 public:
  using Layer2Table::Layer2Table;
};

Fen::Ptr<LagGroupTable> lagGroupTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
