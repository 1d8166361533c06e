#include "TarnSwitchTable/TarnTableCopp.h"

#include <cstdio>

namespace Fen {
const std::string& EnumNames<TarnSwitchTable::CoppEntryKey>::message() {
  static const std::string m = rangeMessageLiteralMax(typeName, maxValue);
  return m;
}
}  // namespace Fen

namespace TarnSwitchTable {
template class Layer2Convertor<CoppLayout>;

namespace {

// The module's trace texts.
namespace CoppTexts {
constexpr const char* handleEntry =
    "void TarnSwitchTable::CoppTable::handleEntry(TarnSwitchTable::CoppEntryKey)";
constexpr const char* syncEntries = "virtual void TarnSwitchTable::CoppConvertor::syncEntries()";
constexpr const char* skipped = " Skipped as not yet initialized - key:";
constexpr const char* key = " Key:";
constexpr const char* found = "Found cpu tx pipeline hw entry for key: ";
constexpr const char* set = "Set sw table entry for key: ";
constexpr const char* value = " value: ";
constexpr const char* missing = "Missing pipeline hw table entry for key: ";
constexpr const char* inconsistent = "Inconsistent pipeline hw table entry for key: ";
constexpr const char* pipeline = ", pipeline ";
}  // namespace CoppTexts

constexpr CoppRegisterMapping::Names registersBefore41 = {"interval_period",
                                                          "reserved_mac_limit",
                                                          "igmp_limit",
                                                          "link_local_limit",
                                                          "packet_forwarding_limit",
                                                          nullptr,
                                                          nullptr,
                                                          nullptr,
                                                          nullptr,
                                                          "mac_learn_limit",
                                                          nullptr};
constexpr CoppRegisterMapping::Names registersFrom41 = {
    "interval_period",    "reserved_mac_limit",   "igmp_limit",          "link_local_limit",
    "l2_packet_limit",    "l3_high_packet_limit", "l3_low_packet_limit", "multicast_packet_limit",
    "l3_exception_limit", "mac_learn_limit",      "default_limit"};

const char* keyName(CoppEntryKey k) {
  const char* name = Fen::enumName(k);
  return name ? name : "?";
}

// A hardware value as traces print it, "0x%08X".
std::string hex(U32 v) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08X", v);
  return text;
}

}  // namespace

U32 CoppEntry::toHardwareValue(CoppEntryKey key, bool forCpuTx, U32 numPipelines) const {
  FEN_ASSERT(numPipelines);
  if (key == CoppEntryKey::coppInterval) return value;
  if (value == 0 || value == 0xFFFFFFFFu) return value;
  if (forCpuTx) return value;
  const U64 product = U64(value) * pipelineScalingPercent(numPipelines);
  if (numPipelines > 1 && product <= 99) return 1;  // a limit is never scaled to 0
  return U32(product / 100);
}

CoppEntry CoppEntry::fromCpuHardwareValue(CoppEntryKey, U32 hw) {
  return CoppEntry(hw);
}

U32 CoppEntry::pipelineScalingPercent(U32 numPipelines) {
  if (numPipelines <= 1) return 100;
  return numPipelines == 2 ? 66 : 50;
}

CoppRegisterMapping::CoppRegisterMapping(const std::string& name, const std::string& prefix,
                                         const Names& names)
    : HwTableRegisterMapping(name),
      prefix_(prefix),
      outside_(Fen::makePtr<TarnSwitchApi::HwAddressColl>()) {
  for (U8 i = 0; i < coppEntryKeyCount; ++i) {
    rows_[i] = Fen::makePtr<TarnSwitchApi::HwAddressColl>();
    if (names[i]) {
      rows_[i]->addressIs(0, prefix + names[i]);
    } else {
      rows_[i]->validIs(false);
    }
  }
}

Fen::PtrConst<TarnSwitchApi::HwAddressColl> CoppRegisterMapping::getRegister(HwIndex index) const {
  return index < coppEntryKeyCount ? rows_[index] : outside_;
}

const TarnSwitchApi::HwAddressColl* CoppRegisterMapping::addresses(HwIndex index) const {
  return index < coppEntryKeyCount ? rows_[index].ptr() : nullptr;
}

CoppHwTableRegisterMapping::CoppHwTableRegisterMapping(const std::string& name,
                                                       const std::string& prefix)
    : CoppRegisterMapping(name, prefix, registersBefore41) {}

CoppHwTableRegisterMappingHwApi41::CoppHwTableRegisterMappingHwApi41(const std::string& name,
                                                                     const std::string& prefix)
    : CoppRegisterMapping(name, prefix, registersFrom41) {}

Fen::Ptr<CoppHwTableRegisterMapping> coppHwTableRegisterMappingFactory(const std::string& name,
                                                                       const std::string& prefix) {
  return Fen::makePtr<CoppHwTableRegisterMapping>(name, prefix);
}

Fen::Ptr<CoppHwTableRegisterMappingHwApi41> coppHwTableRegisterMappingHwApi41Factory(
    const std::string& name, const std::string& prefix) {
  return Fen::makePtr<CoppHwTableRegisterMappingHwApi41>(name, prefix);
}

CoppLayout::CoppLayout(const TarnSwitch::ChipProfile& profile)
    : numPipelines(profile.pipelineCount), hwApi(profile.hwApi) {
  if (numPipelines == 0) throw Fen::RangeException("the CoPP table needs a profile with pipelines");
}

void CoppLayout::declare(const HwTables& hw) const {
  declareCopy(hw, numPipelines, "cpu_tx_pipeline[0]/rate_limiter/", cpuTxEncoding);
  for (U32 p = 0; p < numPipelines; ++p) {
    declareCopy(hw, p, "pipeline[" + std::to_string(p) + "]/rate_limiter/", pipelineEncoding);
  }
}

void CoppLayout::declareCopy(const HwTables& hw, HwTableId id, const std::string& prefix,
                             U8 encoding) const {
  const std::string name = hw.name(int(id));
  Fen::PtrConst<HwTableRegisterMapping> mapping;
  if (hwApi < TarnSwitch::ProfileHwApi{4, 1}) {
    mapping = coppHwTableRegisterMappingFactory(name, prefix);
  } else {
    mapping = coppHwTableRegisterMappingHwApi41Factory(name, prefix);
  }
  FEN_ASSERT(mapping);
  hw.copyIs(id, name, 0, coppEntryKeyCount - 1, mapping, CopyForm{1, 1, encoding});
}

void CoppConvertor::syncEntries() {
  FEN_TRACE(table().moduleTrace(), 8, CoppTexts::syncEntries);
  const Copy* cpuTxHwTable = copy(cpuTxTableId());
  FEN_ASSERT(cpuTxHwTable);
  for (U8 k = 0; k < coppEntryKeyCount; ++k) syncKey(CoppEntryKey(k), *cpuTxHwTable);
}

void CoppConvertor::syncKey(CoppEntryKey key, const Copy& cpuTx) {
  const HwIndex row = HwIndex(key);
  U32 words[hwEntryMaxWords];
  if (!readRow(cpuTx, row, words)) return;
  const Fen::TraceHandle& trace = table().moduleTrace();
  FEN_TRACE(trace, 8, CoppTexts::found << keyName(key));
  const CoppEntry entry = CoppEntry::fromCpuHardwareValue(key, words[0]);
  if (!(entry == CoppLayout::defaultResult(key))) adopt(key, entry);
  const U32 want = entry.toHardwareValue(key, false, numPipelines());
  Fen::DualTrace ring(trace, table().ringTrace());
  for (U32 p = 0; p < numPipelines(); ++p) {
    const Copy* pipeTable = copy(p);
    FEN_ASSERT(pipeTable);
    const bool present = readRow(*pipeTable, row, words);
    if (present && words[0] == want) continue;
    ring.write(8, present ? CoppTexts::inconsistent : CoppTexts::missing, keyName(key),
               CoppTexts::pipeline, p);
    table().hwInconsistentEntryIs(key, true);
  }
}

void CoppConvertor::adopt(CoppEntryKey key, const CoppEntry& entry) {
  FEN_TRACE(table().moduleTrace(), 8,
            CoppTexts::set << keyName(key) << CoppTexts::value << hex(entry.value));
  Fen::DualTrace(table().moduleTrace(), table().ringTrace())
      .write(8, Texts::recovered, RowItem<CoppLayout>{true, key, entry});
  try {
    table().entryIs(key, entry);
  } catch (const Fen::Exception& e) {
    doCorruptionDetected(e.what());
  }
}

void CoppTable::doSetProfileConvertor(Fen::Ptr<TarnSwitchApi::HwTableDescriptorConfig> config,
                                      Fen::Ptr<TarnSwitchApi::HwTableCollection> chip) {
  Fen::makePtr<CoppConvertor>(this)->connect(std::move(config), std::move(chip));
  numPipelines_ = U8(profileConvertor()->numPipelines());
}

void CoppTable::doInitComplete() {
  CoppConvertor* conv = profileConvertor();
  if (!conv) return;
  for (U8 k = 0; k < coppEntryKeyCount; ++k) {
    const CoppKey key(static_cast<CoppEntryKey>(k));
    conv->hwTableEntryIs(key, resultOf(key), true);
  }
}

void CoppTable::programEntry(const CoppKey& k, const CoppEntry* e) {
  CoppConvertor* conv = profileConvertor();
  if (!initialized() || !conv) {
    FEN_TRACE(moduleTrace(), 8, CoppTexts::handleEntry << CoppTexts::skipped << keyName(k.key));
    return;
  }
  FEN_TRACE(moduleTrace(), 8, CoppTexts::handleEntry << CoppTexts::key << keyName(k.key));
  conv->hwTableEntryIs(k, e ? *e : CoppLayout::removedResult(k), true);
}

std::string CoppTable::decodeRowText(HwTableId id, HwIndex index) {
  if (!profileConvertor()) throw Fen::RangeException(name() + ": no chip connected");
  return profileConvertor()->decodeRowResult(id, index).toStrep();
}

Fen::Ptr<CoppTable> coppTableFactory(const std::string& name) {
  return Fen::makePtr<CoppTable>(name);
}

}  // namespace TarnSwitchTable
