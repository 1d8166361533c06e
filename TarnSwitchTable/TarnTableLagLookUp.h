#pragma once
// LAG look-up table: per chip port, its link-aggregation look-up value, kept by every ingress
// pipeline and the CPU pipeline, each port in the look-up table of the pipeline that owns it.
#include <string>
#include <tuple>

#include "TarnSwitchTable/TarnTableLayer2.h"
#include "TarnSwitchTable/TarnTableLayer2Ports.h"

namespace TarnSwitchTable {

struct LagLookUpKey : PortKey<LagLookUpKey> {
  using PortKey::PortKey;
  static constexpr const char* fenTypeName = "TarnSwitchTable::LagLookUpKey";
};

struct LagLookUpResult : Fen::Value<LagLookUpResult> {
  U32 buckets = 0xFF;

  LagLookUpResult() = default;
  explicit LagLookUpResult(U32 b) : buckets(b) {}
  // "0x%02X" of the value
  std::string shortStrep() const;

  static constexpr const char* fenTypeName = "TarnSwitchTable::LagLookUpResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("buckets", &LagLookUpResult::buckets));
  }
};

class LagLookUpTable;
class LagLookUpConvertorLayer2All;

// K + 1 copies (ingress pipeline c: HwTableId c, the CPU pipeline: HwTableId K), each with every
// port: word 0 the value ("lag_lut_data0"), word 1 the port's one-hot selector in its pipeline
// ("lag_lut_ctl"). Port i is in look-up table L = min(i / P, K - 1), behind
// "pipeline[<c>]/lag_lut[<L>]/" or "cpu_pipeline[0]/lag_lut[<L>]/". The default value is 0xFF.
struct LagLookUpLayout : PortRows<LagLookUpKey> {
  using Key = LagLookUpKey;
  using Result = LagLookUpResult;
  using Table = LagLookUpTable;
  using Convertor = LagLookUpConvertorLayer2All;
  static constexpr const char* moduleName = "TarnTableLagLookUp";
  static constexpr const char* tableName = "TarnSwitchTable::LagLookUpTable";
  static constexpr const char* entryName = nullptr;
  static constexpr const char* convertorName = "TarnSwitchTable::LagLookUpConvertorLayer2All";
  static constexpr const char* hwTableWord = "LagLookUp";
  static constexpr U8 hwEntryWords = 2;

  static LagLookUpResult defaultResult(const Key&) { return LagLookUpResult(0xFF); }
  // A profile without ingress pipelines has no look-up table (range exception).
  explicit LagLookUpLayout(const TarnSwitch::ChipProfile& p);
  void declare(const HwTables& hw) const;
  void encodeRow(const Key& k, const Result& r, U8, U32* b) const {
    b[0] = r.buckets;
    b[1] = selector(k.portId.value());
  }
  Result decodeRow(HwIndex, const U32* w) const { return Result(w[0]); }
};

class LagLookUpConvertor : public Layer2Convertor<LagLookUpLayout> {
 public:
  using Layer2Convertor::Layer2Convertor;
};
class LagLookUpConvertorLayer2All : public LagLookUpConvertor {
 public:
  using LagLookUpConvertor::LagLookUpConvertor;
};
class LagLookUpTable : public Layer2Table<LagLookUpLayout> {
 public:
  using Layer2Table::Layer2Table;
};

Fen::Ptr<LagLookUpTable> lagLookUpTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
