#include "TarnSwitchTable/TarnTableHwRow.h"

#include "Cairn/CorruptionDetectedException.h"
#include "Fen/Assert.h"
#include "Fen/RingTrace.h"

namespace TarnSwitchTable {

bool readHwRow(SwTableProfileConvertor& convertor, const HwTableConfig& table, HwIndex index,
               HwEntryConfig& out) {
  try {
    return table.entry(index, out);
  } catch (const Cairn::CorruptionDetectedException& e) {
    convertor.doCorruptionDetected(e.what());
    out = HwEntryConfig(index);
    return false;
  }
}

bool writeHwRowIfChanged(SwTableProfileConvertor& convertor, HwTableConfig& table, HwIndex index,
                         const U32* words, unsigned count) {
  HwEntryConfig row;
  bool present = readHwRow(convertor, table, index, row);
  if (present && row.index() == index) {
    bool equal = true;
    for (unsigned i = 0; i < count && equal; ++i) {
      equal = i < row.words() && row.dataArray()[i] == words[i];
    }
    if (equal) return false;
  }
  if (!present || row.index() != index) row = HwEntryConfig(index);
  for (unsigned i = 0; i < count; ++i) row.dataIs(TarnSwitchApi::DataArrayIndex(i), words[i]);
  table.entryIs(row);
  return true;
}

HwRowConvertor::HwRowConvertor(TarnSwitchApi::SwTable* owner, U8 hwEntryWords)
    : owner_(owner), hwEntryWords_(hwEntryWords) {
  if (hwEntryWords > 0) TarnSwitchApi::DataArrayIndex(hwEntryWords - 1u);
}

void HwRowConvertor::connect(Fen::Ptr<TarnSwitchApi::HwTableDescriptorConfig> config,
                             Fen::Ptr<TarnSwitchApi::HwTableCollection> chip) {
  configIs(std::move(config), std::move(chip));
  owner_->profileConvertorPtrIs(Fen::Ptr<SwTableProfileConvertor>(this));
  handleInitialized();
}

void HwRowConvertor::declareHwTable(HwTableId id, const std::string& hwTableName, TableState state,
                                    HwIndex lower, HwIndex upper,
                                    Fen::PtrConst<HwTableRegisterMapping> mapping) {
  auto desc = descriptorConfig()->hwTableDescIs(owner_->name(), id, hwTableName, state, lower,
                                                upper, std::move(mapping));
  auto table = hwTableCollection()->hwTable(hwTableName);
  FEN_ASSERT(table);
  hwTableIs(id, table);
  descriptorIs(id, desc);
}

HwTableDescriptor& HwRowConvertor::descriptor0() const {
  HwTableDescriptor* desc = descriptor(0);
  FEN_ASSERT(desc != nullptr);
  return *desc;
}

HwTableConfig& HwRowConvertor::hwTableChecked(HwTableId id) const {
  HwTableConfig* table = hwTable(id);
  if (!table) {
    throw Fen::RangeException("hardware table " + std::to_string(id) + " of " + owner_->name() +
                              " does not exist (copies 0.." + std::to_string(hwTableCount() - 1) +
                              ")");
  }
  return *table;
}

void HwRowConvertor::readHwWords(HwTableId id, HwIndex index, U32* words) {
  HwEntryConfig row(index);
  readHwRow(*this, hwTableChecked(id), index, row);
  for (unsigned i = 0; i < row.words(); ++i) words[i] = row.dataArray()[i];
}

unsigned HwRowConvertor::writeHwRowAllCopies(HwIndex index, const U32* words,
                                             const Fen::TraceHandle& trace) {
  if (!descriptor0().contains(index)) {
    FEN_TRACE(trace, 8, "HwIndex " << index << " lies outside the hardware table: not written");
    return 0;
  }
  unsigned written = 0;
  for (const auto& table : hwTables()) {
    if (table && writeHwRowIfChanged(*this, *table, index, words, hwEntryWords_)) ++written;
  }
  return written;
}

void HwRowConvertor::sanitizeHwRow(HwIndex index, const U32* staticWords, const U32* nullWords,
                                   const Fen::TraceHandle& trace) {
  Fen::DualTrace ring(trace, owner_->ringTrace());
  for (const auto& table : hwTables()) {
    if (!table) continue;
    HwEntryConfig row(index);
    if (!readHwRow(*this, *table, index, row)) {
      ring.write(8, "initialize hwEntry for ", index);
      HwEntryConfig fresh(index);
      for (unsigned i = 0; i < hwEntryWords_; ++i)
        fresh.dataIs(TarnSwitchApi::DataArrayIndex(i), nullWords[i]);
      table->entryIs(fresh);
      continue;
    }
    bool damaged = false;
    for (const auto& [word, mask] : hwStaticWord_) {
      TarnSwitchApi::DataArrayIndex w(word);
      U32 current = w.value() < row.words() ? row.data(w) : 0;
      damaged = damaged || ((staticWords[word] ^ current) & mask) != 0;
    }
    if (!damaged) continue;
    ring.write(8, "Update hwEntry for ", index);
    for (const auto& [word, mask] : hwStaticWord_) {
      TarnSwitchApi::DataArrayIndex w(word);
      U32 current = w.value() < row.words() ? row.data(w) : 0;
      row.dataIs(w, (current & ~mask) | (staticWords[word] & mask));
    }
    table->entryIs(row);
  }
}

}  // namespace TarnSwitchTable
