#pragma once
// The Layer-2 table pattern on the row layer: small per-port or per-VLAN tables of registers,
// often one copy per pipeline. An equal result set again does nothing; a change writes every
// copy that holds the key's row and whose compared words differ; an absent key holds the
// member's default result. At start a reset writes every row's default, a warm start keeps
// the rows of absent keys as they stand; the read-back recreates every non-default entry, and
// flags a key whose copies disagree, which the next read-back rewrites from software. Entries
// adopted from hardware and rows rewritten by the read-back are recorded in the ring trace.
//
// A Layer-2 layout, besides the names of TarnTableDescribed.h (`entryName` is nullptr unless the
// table's result is an entry record of its own):
//   using Table = XTable; using Convertor = XConvertorLayer2All;
//   static constexpr U8 hwEntryWords = 4;
//   static Result defaultResult(const Key&);   // what an absent key holds
//   static Result removedResult(const Key&);  // optional: what a removed key is
//                                             // programmed with (else the default)
//   static constexpr bool rewritesFlagged = false;  // optional: the read-back reads flagged keys
//                                                   // too (default true: rewrites them)
//   static constexpr const char* keyFieldName = "vlanId";  // a key that is not a Fen::Value:
//                                                          // its field name for tools
//   explicit XLayout(const TarnSwitch::ChipProfile&);
//   void declare(const HwTables&) const;
//   HwIndex hwIndexFromKey(const Key&) const;  Key keyFromHwIndex(HwIndex) const;
//   void encodeRow(const Key&, const Result&, U8 encoding, U32* buffer) const;
//   Result decodeRow(HwIndex, const U32* words) const;
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "Fen/Ptr.h"
#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnTableDescribed.h"
#include "TarnSwitchTable/TarnTableEntries.h"
#include "TarnSwitchTable/TarnTableReconcile.h"

namespace TarnSwitchTable {

// Whether the read-back rewrites a flagged key from software instead of reading it (every member
// but those that say otherwise).
template <class Desc, class = void>
struct RewritesFlagged : std::true_type {};
template <class Desc>
struct RewritesFlagged<Desc, std::void_t<decltype(Desc::rewritesFlagged)>>
    : std::bool_constant<Desc::rewritesFlagged> {};

// A key and its result as the ring trace records them: "<key> <result>" in their text forms.
template <class Desc>
struct Layer2RingItem {
  typename Desc::Key key;
  typename Desc::Result result;
  friend void ringPrint(std::string& out, const Layer2RingItem& item) {
    Fen::ValueTraits<typename Desc::Key>::print(out, item.key);
    out += ' ';
    Fen::ValueTraits<typename Desc::Result>::print(out, item.result);
  }
};

// Whether a layout gives removed keys a result of their own.
template <class Desc, class = void>
struct HasRemovedResult : std::false_type {};
template <class Desc>
struct HasRemovedResult<
    Desc, std::void_t<decltype(Desc::removedResult(std::declval<const typename Desc::Key&>()))>>
    : std::true_type {};

// The result a removed key is programmed with: the layout's removedResult, else the default.
template <class Desc>
typename Desc::Result layer2Removed(const typename Desc::Key& k) {
  if constexpr (HasRemovedResult<Desc>::value) {
    return Desc::removedResult(k);
  } else {
    return Desc::defaultResult(k);
  }
}

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
    return r ? *r : Desc::defaultResult(k);
  }
  std::string decodeRowText(HwTableId id, HwIndex index) override {
    if (!profileConvertor()) throw Fen::RangeException(name() + ": no chip connected");
    return Fen::printText(profileConvertor()->decodeRowResult(id, index));
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
    const Result& result = r ? *r : layer2Removed<Desc>(k);
    FEN_TRACE(moduleTrace(), 8,
              Texts::programming << Fen::printText(k) << " " << Fen::printText(result));
    profileConvertor()->hwTableEntryIs(k, result);
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
  using RowConvertor::hasHardware;
  using RowConvertor::heldEquals;
  using RowConvertor::readRow;
  using RowConvertor::rowLower;
  using RowConvertor::rowUpper;
  using RowConvertor::trace;

  // `table` is the layout's table (a Layer2Table, or a table of its own kind on this pattern).
  explicit Layer2Convertor(TarnSwitchApi::SwTable* table)
      : Described(table, Desc::hwEntryWords, moduleTrace<Desc>()) {}
  Table& table() const { return static_cast<Table&>(*this->owner()); }

  // Writes the result at the key's row of every copy whose compared words differ.
  virtual void hwTableEntryIs(const Key& k, const Result& r) {
    FEN_TRACE(trace(), 8,
              "virtual void " << Desc::convertorName << "::hwTableEntryIs(const "
                              << Fen::ValueTraits<Key>::typeName() << "&, const "
                              << Fen::ValueTraits<Result>::typeName() << "&) " << Fen::printText(k)
                              << " " << Fen::printText(r));
    writeAll(k, r);
  }
  // Writes the result at the key's row of copy `id` alone, when the copy holds the row and its
  // compared words differ (members whose copies are written one by one).
  void copyEntryIs(HwTableId id, const Key& k, const Result& r) {
    const Copy* c = copy(id);
    const HwIndex row = layout_->hwIndexFromKey(k);
    if (!enabled() || !c || !c->holds(row)) return;
    U32 buffer[hwEntryMaxWords];
    encode(k, r, *c, buffer);
    this->writeRowIfChanged(*c, row, buffer);
  }
  // The same with `replaceIfPresent` false writes only the copies that lack the key's row.
  void hwTableEntryIs(const Key& k, const Result& r, bool replaceIfPresent) {
    if (replaceIfPresent) {
      writeAll(k, r);
      return;
    }
    if (!enabled()) return;
    const HwIndex row = layout_->hwIndexFromKey(k);
    const auto encodeRow = [&](U8 encoding, U32* buffer) {
      layout_->encodeRow(k, r, encoding, buffer);
    };
    forEachCopyRow(*this, row, encodeRow, [&](const Copy& c, const U32* words) {
      if (!c.table->hasEntry(row)) c.table->entryWordsIs(row, words, c.words);
      return true;
    });
  }
  // Brings every row into a defined state: software's result for a present key; for an absent
  // one the default, written unconditionally on a reset, otherwise only where a copy lacks the
  // row (rows left by an earlier run are kept).
  void initHwEntries(bool resetHw) {
    FEN_TRACE(
        trace(), 8,
        "void " << Desc::convertorName << "::initHwEntries(bool) " << (resetHw ? "true" : "false"));
    if (!hasHardware()) return;
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
        encode(k, Desc::defaultResult(k), c, buffer);
        c.table->entryWordsIs(row, buffer, c.words);
      }
    }
  }
  // Reads every row back: a flagged key is rewritten from software; otherwise a non-default
  // result read from the first copy that has the row becomes a software entry, and copies that
  // disagree with it flag the key (and are rewritten from software at once when what was read
  // is the default).
  void syncEntries() override {
    FEN_TRACE(trace(), 8, "virtual void " << Desc::convertorName << "::syncEntries()");
    if (!hasHardware()) return;
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
  // row that reads back as the default, or as what a removed key is programmed with, is
  // expected as it stands); words past a copy's compared ones are expected as held.
  unsigned expectedHwRow(HwTableId id, HwIndex index, U32* words) override {
    const Copy* c = copy(id);
    HwTableDescriptor* desc = descriptor(0);
    if (!c || !desc || !desc->enabled() || !c->holds(index)) return 0;
    const Key k = layout_->keyFromHwIndex(index);
    const Result* r = table().entry(k);
    if (!r && readRow(*c, index, words)) {
      const Result held = layout_->decodeRow(index, words);
      if (held == Desc::defaultResult(k) || held == layer2Removed<Desc>(k)) return c->words;
    }
    encode(k, r ? *r : Desc::defaultResult(k), *c, words);
    this->keepUncomparedWords(*c, index, words);
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
  // Writes every copy whose compared words differ; the rows written.
  unsigned writeAll(const Key& k, const Result& r) {
    if (!enabled()) return 0;
    return writeCopies(*this, layout_->hwIndexFromKey(k), [&](U8 encoding, U32* buffer) {
      layout_->encodeRow(k, r, encoding, buffer);
    });
  }
  // Rewrites the key's copies from software, recording it in the ring trace when rows change.
  void rewriteFromSoftware(const Key& k) {
    const Layer2RingItem<Desc> item{k, table().resultOf(k)};
    if (writeAll(k, item.result) > 0) this->ring().write(8, Texts::updateEntry, item);
  }
  void syncRow(HwIndex row) {
    const Key k = layout_->keyFromHwIndex(row);
    if (RewritesFlagged<Desc>::value && table().hwInconsistentEntry(k)) {
      rewriteFromSoftware(k);
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
    if (!read) {
      // No copy could be read (rows lost to corrupted reads). A table kept in several copies
      // flags the key, so the end of the start writes it from software; a table of one copy
      // never flags a key (it has no copies to disagree) and writes it from software at once.
      if (!missing) return;
      if (copies().size() > 1) {
        table().hwInconsistentEntryIs(k, true);
      } else {
        rewriteFromSoftware(k);
      }
      return;
    }
    if (disagree || missing) table().hwInconsistentEntryIs(k, true);
    if (*read == Desc::defaultResult(k)) {
      // No entry is created whose programming would bring the other copies in line: they are
      // written now, from software.
      if (disagree || missing) rewriteFromSoftware(k);
      return;
    }
    FEN_TRACE(trace(), 7, Texts::decoded << Fen::printText(*read));
    const Result* held = table().entry(k);
    if (!held || !(*held == *read))
      this->ring().write(8, Texts::recovered, Layer2RingItem<Desc>{k, *read});
    table().entryIs(k, *read);
  }

  using Described::layout_;
};

}  // namespace TarnSwitchTable
