#include "TarnSwitchTable/TarnTableDirectBase.h"

#include <algorithm>

#include "Fen/Assert.h"
#include "Fen/Registry.h"
#include "Fen/RingTrace.h"

namespace TarnSwitchTable {
namespace {

Fen::TraceHandle traceHandle("TarnTableDirectBase");

Fen::ModuleRegistrar registrar(Fen::ModuleInfo{
    "TarnTableDirectBase",
    {Fen::ClassInfo{"TarnSwitchTable::DirectBaseEntry", "entry", {}, nullptr, "", ""},
     Fen::ClassInfo{"TarnSwitchTable::DirectBaseTable", "table", {}, nullptr, "", ""},
     Fen::ClassInfo{"TarnSwitchTable::DirectBaseConvertor", "convertor", {}, nullptr, "", ""}}});

}  // namespace

const Fen::TraceHandle& directBaseTrace() {
  return traceHandle;
}

void DirectBaseTable::doSetProfileConvertor(Fen::Ptr<HwTableDescriptorConfig> config,
                                            Fen::Ptr<HwTableCollection> chip) {
  Fen::Ptr<DirectBaseConvertor> convertor = profileConvertorFactory();
  convertor->configIs(std::move(config), std::move(chip));
  profileConvertorPtrIs(convertor);
  convertor->handleInitialized();
  doInitDirectTable();
}

void DirectBaseTable::doInitDirectTable() {
  FEN_TRACE(traceHandle, 8,
            "virtual void TarnSwitchTable::DirectBaseTable::doInitDirectTable() " << name());
}

void DirectBaseTable::handleDirectEntry(const Fen::PtrConst<DirectBaseEntry>& directEntry) {
  profileConvertor()->hwTableEntryIs(directEntry);
}

DirectBaseConvertor* DirectBaseTable::profileConvertor() const {
  return static_cast<DirectBaseConvertor*>(profileConvertorPtr());
}

DirectBaseConvertor::DirectBaseConvertor(DirectBaseTable* swTable, U8 hwEntryWords)
    : swTable_(swTable), hwEntryWords_(hwEntryWords) {
  if (hwEntryWords > 0) TarnSwitchApi::DataArrayIndex(hwEntryWords - 1u);
}

HwTableDescriptor& DirectBaseConvertor::descriptor0() const {
  HwTableDescriptor* desc = descriptor(0);
  FEN_ASSERT(desc != nullptr);
  return *desc;
}

void DirectBaseConvertor::declareHwTable(HwTableId id, const std::string& hwTableName,
                                         TableState state, HwIndex lower, HwIndex upper,
                                         Fen::PtrConst<HwTableRegisterMapping> mapping) {
  auto desc = descriptorConfig()->hwTableDescIs(swTable_->name(), id, hwTableName, state, lower,
                                                upper, std::move(mapping));
  auto table = hwTableCollection()->hwTable(hwTableName);
  FEN_ASSERT(table);
  hwTableIs(id, table);
  descriptorIs(id, desc);
}

void DirectBaseConvertor::readHwWords(HwIndex index, U32* words) {
  HwEntryConfig row(index);
  readHwRow(*this, *hwTable(0), index, row);
  for (unsigned i = 0; i < row.words(); ++i) words[i] = row.dataArray()[i];
}

void DirectBaseConvertor::hwTableEntryIs(const Fen::PtrConst<DirectBaseEntry>& directEntry) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::DirectBaseConvertor::hwTableEntryIs("
            "Fen::PtrConst<TarnSwitchTable::DirectBaseEntry>) "
                << entryText(directEntry));
  HwTableDescriptor& desc = descriptor0();
  if (!desc.enabled()) return;
  U32 buffer[TarnSwitchApi::hwEntryMaxWords] = {};
  setHwBuffer(directEntry, buffer);
  HwIndex index = hwIndexFromItem(directEntry);
  if (!desc.contains(index)) {
    FEN_TRACE(traceHandle, 8,
              "HwIndex " << index << " lies outside the hardware table: not written");
    return;
  }
  for (const auto& table : hwTables()) {
    if (table) writeHwRowIfChanged(*this, *table, index, buffer, hwEntryWords_);
  }
}

void DirectBaseConvertor::hwTableEntryDel(HwIndex index) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::DirectBaseConvertor::hwTableEntryDel(TarnSwitchApi::HwIndex) "
                << index);
  hwTableEntryIs(nullDirectEntry(index));
}

void DirectBaseConvertor::initHwEntries(bool resetHw) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::DirectBaseConvertor::initHwEntries(bool) "
                << (resetHw ? "true" : "false"));
  HwTableDescriptor& desc = descriptor0();
  for (U64 index = desc.lower(); index <= desc.upper(); ++index) {
    if (resetHw) {
      hwTableEntryDel(HwIndex(index));
    } else {
      sanitizeEntry(HwIndex(index));
    }
  }
}

void DirectBaseConvertor::sanitizeEntry(HwIndex index) {
  FEN_TRACE(
      traceHandle, 8,
      "void TarnSwitchTable::DirectBaseConvertor::sanitizeEntry(TarnSwitchApi::HwIndex) " << index);
  U32 staticBuf[TarnSwitchApi::hwEntryMaxWords] = {};
  U32 nullBuf[TarnSwitchApi::hwEntryMaxWords] = {};
  setStaticBuffer(index, staticBuf);
  setHwBuffer(nullDirectEntry(index), nullBuf);
  Fen::DualTrace ring(traceHandle, swTable_->ringTrace());
  for (const auto& table : hwTables()) {
    if (!table) continue;
    HwEntryConfig row(index);
    if (!readHwRow(*this, *table, index, row)) {
      ring.write(8, "initialize hwEntry for ", index);
      HwEntryConfig fresh(index);
      for (unsigned i = 0; i < hwEntryWords_; ++i)
        fresh.dataIs(TarnSwitchApi::DataArrayIndex(i), nullBuf[i]);
      table->entryIs(fresh);
      continue;
    }
    bool damaged = false;
    for (const auto& [word, mask] : hwStaticWord_) {
      TarnSwitchApi::DataArrayIndex w(word);
      U32 current = w.value() < row.words() ? row.data(w) : 0;
      damaged = damaged || ((staticBuf[word] ^ current) & mask) != 0;
    }
    if (!damaged) continue;
    ring.write(8, "Update hwEntry for ", index);
    for (const auto& [word, mask] : hwStaticWord_) {
      TarnSwitchApi::DataArrayIndex w(word);
      U32 current = w.value() < row.words() ? row.data(w) : 0;
      row.dataIs(w, (current & ~mask) | (staticBuf[word] & mask));
    }
    table->entryIs(row);
  }
}

unsigned DirectBaseConvertor::expectedHwRow(HwTableId id, HwIndex index, U32* words) {
  HwTableDescriptor* desc = descriptor(0);
  if (!desc || !desc->enabled() || !hwTable(id) || !desc->contains(index)) return 0;
  Fen::Ptr<DirectBaseEntry> item = nullDirectEntry(index);
  if (swTable_->entryHasByDirectItem(item)) {
    swTable_->updateDirectItem(item);
    item->valid = true;
  }
  std::fill(words, words + TarnSwitchApi::hwEntryMaxWords, 0u);
  setHwBuffer(item, words);
  return hwEntryWords_;
}

Fen::Ptr<DirectBaseEntry> DirectBaseConvertor::decodeHwRow(HwTableId id, HwIndex index) {
  HwTableConfig* table = hwTable(id);
  if (!table) {
    throw Fen::RangeException("hardware table " + std::to_string(id) + " of " + swTable_->name() +
                              " does not exist (copies 0.." + std::to_string(hwTableCount() - 1) +
                              ")");
  }
  HwEntryConfig row(index);
  readHwRow(*this, *table, index, row);
  U32 words[TarnSwitchApi::hwEntryMaxWords] = {};
  for (unsigned i = 0; i < row.words(); ++i) words[i] = row.dataArray()[i];
  return decodeHwWords(index, words);
}

void DirectBaseConvertor::syncEntries() {
  FEN_TRACE(traceHandle, 8, "virtual void TarnSwitchTable::DirectBaseConvertor::syncEntries()");
  HwTableDescriptor& desc = descriptor0();
  Fen::DualTrace ring(traceHandle, swTable_->ringTrace());
  for (U64 i = desc.lower(); i <= desc.upper(); ++i) {
    HwIndex index = HwIndex(i);
    Fen::Ptr<DirectBaseEntry> item = decodeHwEntry(index);
    if (!item->valid) continue;
    FEN_TRACE(traceHandle, 8, "index: " << index << " " << item->toStrep());
    if (!swTable_->entryHasByDirectItem(item)) {
      ring.write(8, "Recovered sw table entry from HW ", item->toStrep());
      swTable_->entryIsByDirectItem(item);
    } else if (desc.enabled() && (!swTable_->entryEqualByDirectItem(item) ||
                                  swTable_->hwInconsistentEntryFromDirectItem(item))) {
      swTable_->updateDirectItem(item);
      swTable_->hwInconsistentEntryDelFromDirectItem(item);
      ring.write(8, "Update entry in hardware ", item->toStrep());
      hwTableEntryIs(item);
    }
  }
}

}  // namespace TarnSwitchTable
