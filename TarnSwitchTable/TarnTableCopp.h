#pragma once
// CoPP table: one rate limit per class of traffic sent to the CPU, and the policing interval,
// kept in the rate-limiter registers of every ingress pipeline (scaled down by the number of
// pipelines, which police in parallel) and of the CPU transmit pipeline (unscaled, the copy the
// software table is rebuilt from after a restart).
//
// Built on the Layer-2 pattern: one row per key in each copy; the CPU transmit copy is declared
// first, so a change writes it before the pipelines and the read-back trusts it. A key without
// an entry holds its default at start (the interval 31250000, every limit all ones); a removed
// key is written 0.
#include <array>
#include <string>

#include "Fen/Enum.h"
#include "TarnSwitchTable/TarnTableLayer2.h"

namespace TarnSwitchTable {

// The limits and the interval; the number is the key's row (HwIndex) in every copy.
enum class CoppEntryKey : U8 {
  coppInterval = 0,
  coppL2ReservedLimit = 1,
  coppIgmpLimit = 2,
  coppLinkLocalLimit = 3,
  coppFwdIncludesCpuLimit = 4,
  coppL3HighPriPktLimit = 5,
  coppL3LowPriPktLimit = 6,
  coppMcastPktLimit = 7,
  coppL3ExceptionLimit = 8,
  coppMacLearnLimit = 9,
  coppDefault = 10,
};
constexpr U8 coppEntryKeyCount = 11;

}  // namespace TarnSwitchTable

namespace Fen {
template <>
struct EnumNames<TarnSwitchTable::CoppEntryKey> {
  static constexpr const char* typeName = "TarnSwitchTable::CoppEntryKey";
  static constexpr const char* names[] = {"coppInterval",
                                          "coppL2ReservedLimit",
                                          "coppIgmpLimit",
                                          "coppLinkLocalLimit",
                                          "coppFwdIncludesCpuLimit",
                                          "coppL3HighPriPktLimit",
                                          "coppL3LowPriPktLimit",
                                          "coppMcastPktLimit",
                                          "coppL3ExceptionLimit",
                                          "coppMacLearnLimit",
                                          "coppDefault"};
  static constexpr U64 maxValue = 10;
  // "TarnSwitchTable::CoppEntryKey::value > 10 not allowed"
  static const std::string& message();
};
}  // namespace Fen

namespace TarnSwitchTable {

// The key of a CoPP entry as the table's collections hold it.
struct CoppKey : Fen::Value<CoppKey> {
  CoppEntryKey key = CoppEntryKey::coppInterval;

  CoppKey() = default;
  CoppKey(CoppEntryKey k) : key(k) {}  // NOLINT: a key is its enumeration value

  static constexpr const char* fenTypeName = "TarnSwitchTable::CoppKey";
  static constexpr auto fenFields() { return std::make_tuple(Fen::field("key", &CoppKey::key)); }
};

// A rate limit (keys 1..10) or the policing interval (key 0), in the chip's units.
struct CoppEntry : Fen::Value<CoppEntry> {
  U32 value = 0;

  CoppEntry() = default;
  explicit CoppEntry(U32 v) : value(v) {}
  std::string resultString() const { return toStrep(); }

  // The word register `key` holds: the value unscaled in the CPU transmit copy, for the
  // interval, and for the special limits 0 and all ones; otherwise scaled to the share of one of
  // `numPipelines` pipelines, never to 0. `numPipelines` 0 is a programming error.
  U32 toHardwareValue(CoppEntryKey key, bool forCpuTx, U32 numPipelines) const;
  // The entry the CPU transmit copy's word stands for (that copy is unscaled).
  static CoppEntry fromCpuHardwareValue(CoppEntryKey key, U32 hw);
  // The share of the configured value one pipeline polices, in percent.
  static U32 pipelineScalingPercent(U32 numPipelines);

  static constexpr const char* fenTypeName = "TarnSwitchTable::CoppEntry";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("value", &CoppEntry::value));
  }
};

// The registers of the keys, one per row at data word 0, behind a copy's prefix: the names one
// hardware API level gives, nullptr where it gives none.
// The rate-limiter registers of one hardware API level behind a prefix: one register per key,
// none for a key the level does not name.
class CoppRegisterMapping : public HwTableRegisterMapping {
 public:
  using Names = std::array<const char*, coppEntryKeyCount>;
  const std::string& prefix() const { return prefix_; }
  // The collection of row `index`: empty with its flag cleared for a key the level has no
  // register for, empty with the flag set past the last key.
  Fen::PtrConst<TarnSwitchApi::HwAddressColl> getRegister(HwIndex index) const override;
  const TarnSwitchApi::HwAddressColl* addresses(HwIndex index) const override;

 protected:
  CoppRegisterMapping(const std::string& name, const std::string& prefix, const Names& names);

 private:
  std::string prefix_;
  std::array<Fen::Ptr<TarnSwitchApi::HwAddressColl>, coppEntryKeyCount> rows_;
  Fen::Ptr<TarnSwitchApi::HwAddressColl> outside_;
};

// The rate-limiter registers below hardware API 4.1 (five limits have none).
class CoppHwTableRegisterMapping : public CoppRegisterMapping {
 public:
  CoppHwTableRegisterMapping(const std::string& name, const std::string& prefix);
};

// The rate-limiter registers from hardware API 4.1 (every key has one).
class CoppHwTableRegisterMappingHwApi41 : public CoppRegisterMapping {
 public:
  CoppHwTableRegisterMappingHwApi41(const std::string& name, const std::string& prefix);
};

Fen::Ptr<CoppHwTableRegisterMapping> coppHwTableRegisterMappingFactory(const std::string& name,
                                                                       const std::string& prefix);
Fen::Ptr<CoppHwTableRegisterMappingHwApi41> coppHwTableRegisterMappingHwApi41Factory(
    const std::string& name, const std::string& prefix);

class CoppTable;
class CoppConvertor;

// The CoPP copies of a chip: the CPU transmit copy (HwTableId K) and one per ingress pipeline
// (HwTableId p), each rows 0..10 of one word, registers chosen by the hardware API level.
struct CoppLayout {
  using Key = CoppKey;
  using Result = CoppEntry;
  using Table = CoppTable;
  using Convertor = CoppConvertor;
  static constexpr const char* moduleName = "TarnTableCopp";
  static constexpr const char* tableName = "TarnSwitchTable::CoppTable";
  static constexpr const char* entryName = "TarnSwitchTable::CoppEntry";
  static constexpr const char* convertorName = "TarnSwitchTable::CoppConvertor";
  static constexpr const char* hwTableWord = "Copp";
  static constexpr U8 hwEntryWords = 1;
  static constexpr U8 pipelineEncoding = 0;  // scaled
  static constexpr U8 cpuTxEncoding = 1;     // as configured
  static constexpr U32 defaultInterval = 31250000;
  static constexpr U32 unlimited = 0xFFFFFFFFu;

  // A profile without pipelines raises the range exception.
  explicit CoppLayout(const TarnSwitch::ChipProfile& profile);
  void declare(const HwTables& hw) const;

  // What initialisation writes for a key without an entry; a removed key is written 0.
  static CoppEntry defaultResult(const CoppKey& k) {
    return CoppEntry(k.key == CoppEntryKey::coppInterval ? defaultInterval : unlimited);
  }
  static CoppEntry removedResult(const CoppKey&) { return CoppEntry(0); }

  HwIndex hwIndexFromKey(const CoppKey& k) const { return HwIndex(k.key); }
  // A row past the last key raises the key's range exception.
  CoppKey keyFromHwIndex(HwIndex row) const { return Fen::enumFromNumber<CoppEntryKey>(row); }
  void encodeRow(const CoppKey& k, const CoppEntry& e, U8 encoding, U32* buffer) const {
    buffer[0] = e.toHardwareValue(k.key, encoding == cpuTxEncoding, numPipelines);
  }
  CoppEntry decodeRow(HwIndex row, const U32* words) const {
    return CoppEntry::fromCpuHardwareValue(keyFromHwIndex(row).key, words[0]);
  }

  U32 numPipelines;
  TarnSwitch::ProfileHwApi hwApi;

 private:
  void declareCopy(const HwTables& hw, HwTableId id, const std::string& prefix, U8 encoding) const;
};

class CoppConvertor : public Layer2Convertor<CoppLayout> {
 public:
  using Layer2Convertor::Layer2Convertor;

  U32 numPipelines() const { return layout().numPipelines; }
  HwTableId cpuTxTableId() const { return layout().numPipelines; }
  // The hardware table of pipeline p, and the CPU transmit one (nullptr before they exist).
  HwTableConfig* pipeTable(U32 p) const { return p < numPipelines() ? hwTable(p) : nullptr; }
  HwTableConfig* cpuTxHwTable() const { return hwTable(cpuTxTableId()); }

  // Rebuilds software from the CPU transmit copy: a value other than the key's default becomes
  // an entry. A pipeline copy that lacks the key or differs from the scaled value flags it
  // inconsistent; it is not rewritten here.
  void syncEntries() override;

 private:
  void syncKey(CoppEntryKey key, const Copy& cpuTx);
  void adopt(CoppEntryKey key, const CoppEntry& entry);
};

class CoppTable : public TarnSwitchApi::SwTable,
                  public TableEntries<CoppTable, CoppKey, CoppEntry> {
 public:
  using Key = CoppKey;
  using Result = CoppEntry;
  using Layout = CoppLayout;
  using Convertor = CoppConvertor;
  using Item = RowItem<CoppLayout>;
  static constexpr bool programsUnchanged = false;
  using SwTable::SwTable;

  const char* fwkType() const override { return CoppLayout::tableName; }
  const Fen::TraceHandle& moduleTrace() const { return TarnSwitchTable::moduleTrace<CoppLayout>(); }
  // Creates the convertor for the chip and connects it; the pipeline count follows the chip.
  void doSetProfileConvertor(Fen::Ptr<TarnSwitchApi::HwTableDescriptorConfig> config,
                             Fen::Ptr<TarnSwitchApi::HwTableCollection> chip) override;
  // Ends a start: every copy of every key holds software's value, or the key's default (a
  // pipeline copy the read-back flagged is rewritten here). Over matching hardware nothing is
  // written.
  void doInitComplete() override;
  CoppConvertor* profileConvertor() const {
    return static_cast<CoppConvertor*>(profileConvertorPtr());
  }

  // Ingress pipelines of the connected chip (0 before one is connected).
  U8 numPipelines() const { return numPipelines_; }
  U32 ticksPerSecond() const { return ticksPerSecond_; }
  void ticksPerSecondIs(U32 t) { ticksPerSecond_ = t; }

  // Software's value for the key, or the key's default.
  CoppEntry resultOf(const CoppKey& k) const {
    const CoppEntry* e = entry(k);
    return e ? *e : CoppLayout::defaultResult(k);
  }
  std::string decodeRowText(HwTableId id, HwIndex index) override;

 private:
  friend class TableEntries<CoppTable, CoppKey, CoppEntry>;
  // Once the table is initialized, writes the key's value to every copy, 0 for a removed key;
  // before that the start programs it.
  void programEntry(const CoppKey& k, const CoppEntry* e);

  U8 numPipelines_ = 0;
  U32 ticksPerSecond_ = 0;
};

Fen::Ptr<CoppTable> coppTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
