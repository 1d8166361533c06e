#pragma once
// The Layer-2 table pattern on the row layer: small per-port or per-VLAN tables of registers,
// often one copy per pipeline. An equal result set again does nothing; a change writes every
// copy that holds the key's row and whose compared words differ; an absent key holds the
// member's default result. At start a reset writes every row's default, a warm start keeps
// the rows of absent keys as they stand; the read-back recreates every non-default entry, and
// flags a key whose copies disagree, which the next read-back rewrites from software.
//
// A Layer-2 layout, besides the names of TarnTableDescribed.h (no entry class: `entryName`
// names the key and result pair in traces):
//   using Table = XTable; using Convertor = XConvertorLayer2All;
//   static constexpr U8 hwEntryWords = 4;
//   static Result defaultResult();
//   explicit XLayout(const TarnSwitch::ChipProfile&);
//   void declare(const HwTables&) const;
//   HwIndex hwIndexFromKey(const Key&) const;  Key keyFromHwIndex(HwIndex) const;
//   void encodeRow(const Key&, const Result&, U8 encoding, U32* buffer) const;
//   Result decodeRow(HwIndex, const U32* words) const;
#include <optional>
#include <string>

#include "Fen/Ptr.h"
#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnTableDescribed.h"
#include "TarnSwitchTable/TarnTableEntries.h"
#include "TarnSwitchTable/TarnTableReconcile.h"

namespace TarnSwitchTable {

// The pattern's trace handle (module "TarnTableLayer2").
const Fen::TraceHandle& layer2Trace();

template <class Desc>
class Layer2Table
    : public TarnSwitchApi::SwTable,
      public TableEntries<Layer2Table<Desc>, typename Desc::Key, typename Desc::Result> {
 public:
  using Key = typename Desc::Key;
  using Result = typename Desc::Result;
  using Layout = Desc;
  using Convertor = typename Desc::Convertor;
  static constexpr bool programsUnchanged = false;
  using SwTable::SwTable;

  const char* fwkType() const override { return Desc::tableName; }
  const Fen::TraceHandle& moduleTrace() const { return TarnSwitchTable::moduleTrace<Desc>(); }
  // Creates the convertor and connects it.
  void doSetProfileConvertor(Fen::Ptr<TarnSwitchApi::HwTableDescriptorConfig> config,
                             Fen::Ptr<TarnSwitchApi::HwTableCollection> chip) override {
    Fen::makePtr<Convertor>(this)->connect(std::move(config), std::move(chip));
  }
  Convertor* profileConvertor() const { return static_cast<Convertor*>(profileConvertorPtr()); }
  // Software's result for the key, or the member's default.
  Result resultOf(const Key& k) const {
    const Result* r = this->entry(k);
    return r ? *r : Desc::defaultResult();
  }
  std::string decodeRowText(HwTableId id, HwIndex index) override {
    if (!profileConvertor()) throw Fen::RangeException(name() + ": no chip connected");
    return profileConvertor()->decodeRowResult(id, index).toStrep();
  }
  // Ends a start: the keys whose copies disagreed at the read-back are written at once (the
  // flags stay set). The next read-back would rewrite them, but it runs on a new table after the
  // next restart, where the flags are gone: without this a damaged copy would never be repaired.
  void doInitComplete() override {
    if (auto* c = profileConvertor()) c->rewriteFlagged();
  }

 private:
  friend class TableEntries<Layer2Table, Key, Result>;
  void programEntry(const Key& k, const Result* r) {
    if (!profileConvertor()) return;
    profileConvertor()->hwTableEntryIs(k, r ? *r : Desc::defaultResult());
  }
};

template <class Desc>
class Layer2Convertor : public DescribedConvertor<Layer2Convertor<Desc>, RowConvertor, Desc> {
 public:
  using Key = typename Desc::Key;
  using Result = typename Desc::Result;
  using Table = typename Desc::Table;

  using Described = DescribedConvertor<Layer2Convertor<Desc>, RowConvertor, Desc>;
  using RowConvertor::copies;
  using RowConvertor::copy;
  using RowConvertor::copyChecked;
  using RowConvertor::descriptor;
  using RowConvertor::descriptor0;
  using RowConvertor::enabled;
  using RowConvertor::heldEquals;
  using RowConvertor::readRow;
  using RowConvertor::rowLower;
  using RowConvertor::rowUpper;
  using RowConvertor::trace;

  explicit Layer2Convertor(Layer2Table<Desc>* table)
      : Described(table, Desc::hwEntryWords, layer2Trace()) {}
  Table& table() const { return static_cast<Table&>(*this->owner()); }

  // Writes the result at the key's row of every copy whose compared words differ.
  virtual void hwTableEntryIs(const Key& k, const Result& r) {
    if (!enabled()) return;
    writeCopies(*this, layout_->hwIndexFromKey(k),
                [&](U8 encoding, U32* buffer) { layout_->encodeRow(k, r, encoding, buffer); });
  }
  // Brings every row into a defined state: software's result for a present key; for an absent
  // one the default, written unconditionally on a reset, otherwise only where a copy lacks the
  // row (rows left by an earlier run are kept).
  void initHwEntries(bool resetHw) {
    descriptor0();
    U32 buffer[hwEntryMaxWords];
    for (U64 i = rowLower(); i <= rowUpper(); ++i) {
      const HwIndex row = HwIndex(i);
      const Key k = layout_->keyFromHwIndex(row);
      if (const Result* r = table().entry(k)) {
        hwTableEntryIs(k, *r);
        continue;
      }
      for (const Copy& c : copies()) {
        if (!c.holds(row) || (!resetHw && c.table->hasEntry(row))) continue;
        encode(k, Desc::defaultResult(), c, buffer);
        c.table->entryWordsIs(row, buffer, c.words);
      }
    }
  }
  // Reads every row back: a flagged key is rewritten from software; otherwise a non-default
  // result read from the first copy that has the row becomes a software entry, and copies that
  // disagree with it flag the key.
  void syncEntries() override {
    descriptor0();
    for (U64 i = rowLower(); i <= rowUpper(); ++i) syncRow(HwIndex(i));
  }
  // Writes every key flagged inconsistent from software (or the default) to the copies that
  // differ.
  void rewriteFlagged() {
    if (!enabled()) return;
    table().hwInconsistentEntry().forEachOrdered([this](const Key& k, bool flagged) {
      if (flagged) hwTableEntryIs(k, table().resultOf(k));
    });
  }
  // The row the library expects: software's result, or for an absent key the default (a kept
  // row that reads back as the default is expected as it stands).
  unsigned expectedHwRow(HwTableId id, HwIndex index, U32* words) override {
    const Copy* c = copy(id);
    HwTableDescriptor* desc = descriptor(0);
    if (!c || !desc || !desc->enabled() || !c->holds(index)) return 0;
    const Key k = layout_->keyFromHwIndex(index);
    const Result* r = table().entry(k);
    if (!r && readRow(*c, index, words) &&
        layout_->decodeRow(index, words) == Desc::defaultResult())
      return c->words;
    encode(k, r ? *r : Desc::defaultResult(), *c, words);
    return c->words;
  }
  // The result row `index` of copy `id` reads back as.
  Result decodeRowResult(HwTableId id, HwIndex index) {
    layout_->keyFromHwIndex(index);  // a row past the last key is refused first
    U32 words[hwEntryMaxWords];
    readRow(copyChecked(id), index, words);
    return layout_->decodeRow(index, words);
  }

 private:
  void encode(const Key& k, const Result& r, const Copy& c, U32* buffer) const {
    std::fill(buffer, buffer + hwEntryMaxWords, 0u);
    layout_->encodeRow(k, r, c.encoding, buffer);
  }
  void syncRow(HwIndex row) {
    const Key k = layout_->keyFromHwIndex(row);
    if (table().hwInconsistentEntry(k)) {
      hwTableEntryIs(k, table().resultOf(k));
      return;
    }
    U32 words[hwEntryMaxWords];
    std::optional<Result> read;
    bool disagree = false, missing = false;
    for (const Copy& c : copies()) {
      if (!c.holds(row)) continue;
      if (!readRow(c, row, words)) {
        FEN_TRACE(trace(), 9, "pipe " << c.id << " index " << row << " does not exist.");
        missing = true;
        continue;
      }
      if (!read) {
        read = layout_->decodeRow(row, words);
        continue;
      }
      U32 want[hwEntryMaxWords];
      encode(k, *read, c, want);
      disagree = disagree || !heldEquals(c, words, want);
    }
    if (disagree || (missing && read)) table().hwInconsistentEntryIs(k, true);
    if (read && !(*read == Desc::defaultResult())) table().entryIs(k, *read);
  }

  using Described::layout_;
};

}  // namespace TarnSwitchTable
