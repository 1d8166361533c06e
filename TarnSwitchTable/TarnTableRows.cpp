#include "TarnSwitchTable/TarnTableRows.h"

#include <algorithm>

#include "Fen/Assert.h"
#include "TarnSwitchTable/TarnTableDescribed.h"

namespace TarnSwitchTable {
RowConvertor::RowConvertor(TarnSwitchApi::SwTable* owner, U8 hwEntryWords,
                           const Fen::TraceHandle& trace)
    : owner_(owner), trace_(trace), hwEntryWords_(hwEntryWords) {
  if (hwEntryWords > 0) TarnSwitchApi::DataArrayIndex(hwEntryWords - 1u);
}

void RowConvertor::connect(Fen::Ptr<TarnSwitchApi::HwTableDescriptorConfig> config,
                           Fen::Ptr<TarnSwitchApi::HwTableCollection> chip) {
  configIs(std::move(config), std::move(chip));
  owner_->profileConvertorPtrIs(Fen::Ptr<SwTableProfileConvertor>(this));
  handleInitialized();
}

void RowConvertor::declareHwTable(HwTableId id, const std::string& hwTableName, TableState state,
                                  HwIndex lower, HwIndex upper,
                                  Fen::PtrConst<HwTableRegisterMapping> mapping, CopyForm form) {
  auto desc = descriptorConfig()->hwTableDescIs(owner_->name(), id, hwTableName, state, lower,
                                                upper, std::move(mapping));
  auto table = hwTableCollection()->hwTable(hwTableName);
  FEN_ASSERT(table);
  hwTableIs(id, table);
  descriptorIs(id, desc);
  if (id == 0) descriptor0_ = desc.ptr();
  Copy c;
  c.id = id;
  c.table = table.ptr();
  c.lower = lower;
  c.upper = upper;
  c.words = form.words ? form.words : hwEntryWords_;
  c.compareWords = form.compareWords ? form.compareWords : c.words;
  c.encoding = form.encoding;
  if (c.words > 0) TarnSwitchApi::DataArrayIndex(c.words - 1u);
  FEN_ASSERT(c.compareWords <= c.words && c.words <= hwEntryWords_);
  rowLower_ = copies_.empty() ? lower : std::min(rowLower_, lower);
  rowUpper_ = copies_.empty() ? upper : std::max(rowUpper_, upper);
  copies_.push_back(c);
  const Copy& first = copies_.front();
  const bool whole = first.words == hwEntryWords_ && first.compareWords == hwEntryWords_;
  soleCopy_ = copies_.size() == 1 && whole ? &first : nullptr;
}

const Copy* RowConvertor::copy(HwTableId id) const {
  for (const Copy& c : copies_) {
    if (c.id == id) return &c;
  }
  return nullptr;
}

const Copy* RowConvertor::primaryCopy(HwIndex index) const {
  for (const Copy& c : copies_) {
    if (c.holds(index)) return &c;
  }
  return nullptr;
}

const Copy& RowConvertor::copyChecked(HwTableId id) const {
  const Copy* c = copy(id);
  if (!c) {
    throw Fen::RangeException("hardware table " + std::to_string(id) + " of " + owner_->name() +
                              " does not exist (copies 0.." + std::to_string(hwTableCount() - 1) +
                              ")");
  }
  return *c;
}

bool RowConvertor::readRow(const Copy& c, HwIndex index, U32* words) {
  std::fill(words, words + hwEntryMaxWords, 0u);
  const HwEntryConfig* row = nullptr;
  try {
    row = c.table->entryRef(index);
  } catch (const Cairn::CorruptionDetectedException& e) {
    doCorruptionDetected(e.what());
  }
  if (!row) return false;
  std::copy(row->dataArray(), row->dataArray() + row->words(), words);
  return true;
}

bool RowConvertor::staticDamaged(const U32* held, const U32* staticWords, unsigned words) const {
  for (const auto& [word, mask] : hwStaticWord_) {
    if (TarnSwitchApi::DataArrayIndex(word).value() < words &&
        ((held[word] ^ staticWords[word]) & mask) != 0)
      return true;
  }
  return false;
}

void RowConvertor::sanitizeCopyRow(const Copy& c, HwIndex index, const U32* staticWords,
                                   const U32* nullWords) {
  U32 held[hwEntryMaxWords];
  if (!readRow(c, index, held)) {
    ring().write(8, Texts::initializeRow, U64(index));
    c.table->entryWordsIs(index, nullWords, c.words);
    return;
  }
  if (!staticDamaged(held, staticWords, c.words)) return;
  ring().write(8, Texts::updateRow, U64(index));
  for (const auto& [word, mask] : hwStaticWord_) {
    if (word < c.words) held[word] = (held[word] & ~mask) | (staticWords[word] & mask);
  }
  c.table->entryWordsIs(index, held, c.words);
}

void HwTables::copyIs(HwTableId id, const std::string& hwTableName, HwIndex lower, HwIndex upper,
                      Fen::PtrConst<HwTableRegisterMapping> mapping, CopyForm form) const {
  convertor_.declareHwTable(id, hwTableName, state_, lower, upper, std::move(mapping), form);
}

void HwTables::copyIs(HwTableId id, const std::string& hwTableName, HwIndex lower, HwIndex upper,
                      Fen::PtrConst<TarnSwitchApi::HwAddressColl> registers, CopyForm form) const {
  copyIs(
      id, hwTableName, lower, upper,
      Fen::makePtr<TarnSwitchApi::HwTableRegisterMappingConst>(hwTableName, std::move(registers)),
      form);
}

Fen::Ptr<TarnSwitchApi::HwAddressColl> rowRegisters(const std::string& prefix,
                                                    std::initializer_list<const char*> names) {
  auto regs = Fen::makePtr<TarnSwitchApi::HwAddressColl>();
  U8 word = 0;
  for (const char* n : names) regs->addressIs(word++, prefix + n);
  return regs;
}

}  // namespace TarnSwitchTable
