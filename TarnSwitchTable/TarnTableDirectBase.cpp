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
  profileConvertorFactory()->connect(std::move(config), std::move(chip));
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
    : HwRowConvertor(swTable, hwEntryWords), swTable_(swTable) {}

void DirectBaseConvertor::hwTableEntryIs(const Fen::PtrConst<DirectBaseEntry>& directEntry) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::DirectBaseConvertor::hwTableEntryIs("
            "Fen::PtrConst<TarnSwitchTable::DirectBaseEntry>) "
                << entryText(directEntry));
  if (!descriptor0().enabled()) return;
  U32 buffer[TarnSwitchApi::hwEntryMaxWords] = {};
  setHwBuffer(directEntry, buffer);
  writeHwRowAllCopies(hwIndexFromItem(directEntry), buffer, traceHandle);
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
  sanitizeHwRow(index, staticBuf, nullBuf, traceHandle);
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
  return hwEntryWords();
}

Fen::Ptr<DirectBaseEntry> DirectBaseConvertor::decodeHwRow(HwTableId id, HwIndex index) {
  U32 words[TarnSwitchApi::hwEntryMaxWords] = {};
  readHwWords(id, index, words);
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
