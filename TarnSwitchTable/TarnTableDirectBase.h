#pragma once
// Direct table engine: software tables whose keys map one-to-one onto the rows of a directly
// indexed hardware table. A concrete table is a layout (see below): its key-to-row formula, its
// copies and its row codec. The engine writes rows only when their words change, walks every
// row at start, repairs position-dependent ("static") bits, reconciles software with hardware
// after a restart and converges every row to what software wants once a start is over.
//
// A direct layout, besides the names of TarnTableDescribed.h:
//   using Entry = ArpEntry; using Table = ArpTable; using Convertor = ArpConvertor;  (thin classes)
//   static constexpr U8 hwEntryWords = 4;
//   static constexpr StaticWord staticWords[] = {{1, 0xFFFFFFF0u}};   (optional)
//   static constexpr bool programsUnchanged = true;  (optional, default true: an unchanged value
//                                                     set again is programmed, repairing its row)
//   static constexpr bool programmingInRing = true;  (optional, default false: each programmed
//                                                     entry is also a ring-trace record)
//   explicit XLayout(const TarnSwitch::ChipProfile&);
//   void declare(const HwTables&) const;                 // the copies and their registers
//   HwIndex hwIndexFromKey(const Key&) const;  Key keyFromHwIndex(HwIndex) const;
//   void setStaticBuffer(HwIndex, U32* buffer) const;
//   void encodeResult(const Result&, U32* buffer) const;  Result decodeResult(const U32*) const;
//   (or, for rows whose copies differ or that carry their own valid bit, the general forms
//    `void encodeRow(const RowItem<XLayout>&, HwIndex, U8 encoding, U32*) const` and
//    `bool decodeRow(HwIndex, const U32*, RowItem<XLayout>&) const`)
#include <optional>
#include <string>

#include "Fen/Assert.h"
#include "Fen/Ptr.h"
#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnTableDescribed.h"
#include "TarnSwitchTable/TarnTableEntries.h"
#include "TarnSwitchTable/TarnTableReconcile.h"

namespace TarnSwitchTable {

using TarnSwitchApi::HwTableCollection;
using TarnSwitchApi::HwTableDescriptorConfig;

// The engine's trace handle (module "TarnTableDirectBase").
const Fen::TraceHandle& directBaseTrace();

// The row item handed between a direct table and its convertor.
class DirectBaseEntry : public Fen::PtrInterface {
 public:
  const char* fwkType() const override { return "TarnSwitchTable::DirectBaseEntry"; }
  // False for a null row: one that must read as empty in hardware.
  bool valid() const { return valid_; }
  void validIs(bool v) { valid_ = v; }
  // Text form of the entry (key and result fields after `valid`).
  virtual std::string toStrep() const = 0;

 private:
  bool valid_ = false;
};

// Text form of an entry handle, or "NULL" when absent.
template <class E>
std::string entryText(const Fen::Ptr<E>& e) {
  return e ? e->toStrep() : "NULL";
}

class DirectBaseConvertor;

class DirectBaseTable : public TarnSwitchApi::SwTable {
 public:
  using SwTable::SwTable;
  const char* fwkType() const override { return "TarnSwitchTable::DirectBaseTable"; }

  // Builds the convertor, connects it (it sets its static-word masks) and runs
  // doInitDirectTable.
  void doSetProfileConvertor(Fen::Ptr<HwTableDescriptorConfig> config,
                             Fen::Ptr<HwTableCollection> chip) override;
  // Ends a start: every row converges to what software wants (see TarnTableReconcile.h).
  void doInitComplete() override;

  virtual Fen::Ptr<DirectBaseConvertor> profileConvertorFactory() const = 0;
  virtual bool entryHasByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) const = 0;
  // Stores the item's key and result into software (adopting a hardware row).
  virtual void entryIsByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) = 0;
  virtual bool entryEqualByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) const = 0;
  // Overwrites the item's result with software's result for its key.
  virtual void updateDirectItem(const Fen::Ptr<DirectBaseEntry>& item) const = 0;
  virtual bool hwInconsistentEntryFromDirectItem(
      const Fen::PtrConst<DirectBaseEntry>& item) const = 0;
  virtual void hwInconsistentEntryDelFromDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) = 0;

  // Hook run once the convertor is connected; traces the table's name.
  virtual void doInitDirectTable();
  // The trace handle of the concrete table's module.
  virtual const Fen::TraceHandle& moduleTrace() const { return directBaseTrace(); }
  // Programs the row of a changed key (its result, or the null row when absent).
  void handleDirectEntry(const Fen::PtrConst<DirectBaseEntry>& directEntry);

  DirectBaseConvertor* profileConvertor() const;
};

class DirectBaseConvertor : public RowConvertor {
 public:
  // `hwEntryWords` above 8 raises the DataArrayIndex range exception.
  DirectBaseConvertor(DirectBaseTable* swTable, U8 hwEntryWords);
  const char* fwkType() const override { return "TarnSwitchTable::DirectBaseConvertor"; }

  virtual HwIndex hwIndexFromItem(const Fen::PtrConst<DirectBaseEntry>& item) const = 0;
  // Writes the static bits of row `index` into `buffer` (hwEntryWords words).
  virtual void setStaticBuffer(HwIndex index, U32* buffer) = 0;
  // Encodes the item into `buffer` as hardware table 0 holds it, static bits included.
  virtual void setHwBuffer(const Fen::PtrConst<DirectBaseEntry>& item, U32* buffer) = 0;
  // A new item for row `index` with `valid` false and a zero result.
  virtual Fen::Ptr<DirectBaseEntry> nullDirectEntry(HwIndex index) const = 0;
  // Reads row `index` of its first copy as an item, valid when the row is not empty.
  virtual Fen::Ptr<DirectBaseEntry> decodeHwEntry(HwIndex index) = 0;

  // Writes the item's row to every copy whose words differ.
  virtual void hwTableEntryIs(const Fen::PtrConst<DirectBaseEntry>& directEntry) = 0;
  // Writes the null encoding of row `index`.
  void hwTableEntryDel(HwIndex index);
  // Visits every row: reset empties it, otherwise sanitizeEntry (during a start, the
  // convergence that ends it does the work).
  virtual void initHwEntries(bool resetHw) = 0;
  // Repairs the static bits of row `index` in every copy, keeping the data bits.
  virtual void sanitizeEntry(HwIndex index) = 0;
  // Every row of every copy converges to software's entries (doInitComplete).
  virtual void converge() = 0;
  // Decodes row `index` of hardware table `id` (a corrupted row reads as empty); an unknown copy
  // raises the range exception.
  virtual Fen::Ptr<DirectBaseEntry> decodeHwRow(HwTableId id, HwIndex index) = 0;

  DirectBaseTable* swTable() const { return swTable_; }

 private:
  DirectBaseTable* swTable_;
};

// ---------------------------------------------------------------------------------------------
// Typed layer: everything follows from the layout `Desc`.

// `Desc::programsUnchanged`, or true.
template <class Desc, class = void>
struct ProgramsUnchanged : std::true_type {};
template <class Desc>
struct ProgramsUnchanged<Desc, std::void_t<decltype(Desc::programsUnchanged)>>
    : std::bool_constant<Desc::programsUnchanged> {};

// `Desc::programmingInRing`, or false.
template <class Desc, class = void>
struct ProgrammingInRing : std::false_type {};
template <class Desc>
struct ProgrammingInRing<Desc, std::void_t<decltype(Desc::programmingInRing)>>
    : std::bool_constant<Desc::programmingInRing> {};

// Entry of a direct table described by Desc.
template <class Desc>
using DirectEntry = DescribedEntry<DirectBaseEntry, Desc>;

template <class Desc>
class DirectConvertor;

// The empty result of a table, the result of an absent key.
template <class Result>
inline const Result emptyResult{};

// The layout's row codec in its general form, from the simple one where it has only that.
template <class L, class = void>
struct DirectCodec {
  // Encodes software's result `r` for `key` (the empty result when r is nullptr).
  static void encode(const L& l, const typename L::Key&, const typename L::Result* r, HwIndex row,
                     U8, U32* buffer) {
    l.encodeResult(r ? *r : emptyResult<typename L::Result>, buffer);  // by reference: no copy
    l.setStaticBuffer(row, buffer);
  }
  static bool decode(const L& l, HwIndex row, const U32* words, RowItem<L>& item) {
    item.key = l.keyFromHwIndex(row);
    item.result = l.decodeResult(words);
    return item.valid = !(item.result == typename L::Result());
  }
};
template <class L>
struct DirectCodec<L, std::void_t<decltype(&L::encodeRow)>> {
  static void encode(const L& l, const typename L::Key& key, const typename L::Result* r,
                     HwIndex row, U8 encoding, U32* buffer) {
    l.encodeRow(RowItem<L>{r != nullptr, key, r ? *r : typename L::Result()}, row, encoding,
                buffer);
  }
  static bool decode(const L& l, HwIndex row, const U32* words, RowItem<L>& item) {
    return l.decodeRow(row, words, item);
  }
};

template <class Desc>
class DirectTable
    : public DirectBaseTable,
      public TableEntries<DirectTable<Desc>, typename Desc::Key, typename Desc::Result> {
 public:
  using Key = typename Desc::Key;
  using Result = typename Desc::Result;
  using Entry = typename Desc::Entry;
  using Item = RowItem<Desc>;
  using Layout = Desc;
  static constexpr bool programsUnchanged = ProgramsUnchanged<Desc>::value;
  using DirectBaseTable::DirectBaseTable;

  const char* fwkType() const override { return Desc::tableName; }
  const Fen::TraceHandle& moduleTrace() const override {
    return TarnSwitchTable::moduleTrace<Desc>();
  }
  Fen::Ptr<DirectBaseConvertor> profileConvertorFactory() const override {
    return Fen::makePtr<typename Desc::Convertor>(const_cast<DirectTable*>(this));
  }
  typename Desc::Convertor* profileConvertor() const {
    return static_cast<typename Desc::Convertor*>(profileConvertorPtr());
  }

  bool entryHasByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) const override {
    return this->entry(cast(item).key) != nullptr;
  }
  // Adopts a row read back; only a valid item holds an entry, anything else is a programming
  // error that stops the process.
  void entryIsByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) override {
    FEN_ASSERT(item->valid());
    this->entryIs(cast(item).key, cast(item).result);
  }
  bool entryEqualByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) const override {
    const Result* r = this->entry(cast(item).key);
    return r && *r == cast(item).result;
  }
  void updateDirectItem(const Fen::Ptr<DirectBaseEntry>& item) const override {
    Entry& e = static_cast<Entry&>(*item);
    const Result* r = this->entry(e.key);
    e.result = r ? *r : Result();
  }
  bool hwInconsistentEntryFromDirectItem(
      const Fen::PtrConst<DirectBaseEntry>& item) const override {
    return this->hwInconsistentEntry(cast(item).key);
  }
  void hwInconsistentEntryDelFromDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) override {
    this->hwInconsistentEntryDel(cast(item).key);
  }
  std::string decodeRowText(HwTableId id, HwIndex index) override {
    if (!profileConvertor()) throw Fen::RangeException(name() + ": no chip connected");
    return profileConvertor()->decodeHwRow(id, index)->toStrep();
  }

 private:
  friend class TableEntries<DirectTable, Key, Result>;

  // Programs the row of `k` holding `r`, or its null row when r is nullptr. Nothing is
  // allocated and, with tracing off, nothing is formatted.
  void programEntry(const Key& k, const Result* r) {
    auto* conv = profileConvertor();
    if (!conv) return;
    if (TarnSwitchTable::moduleTrace<Desc>().on(8)) traceProgramming(k, r);
    if constexpr (ProgrammingInRing<Desc>::value) {
      ringTrace().write(Texts::programming, Item{r != nullptr, k, r ? *r : Result()});
    }
    conv->programKey(k, r);
  }
  __attribute__((noinline)) void traceProgramming(const Key& k, const Result* r) const {
    const Fen::TraceHandle& trace = TarnSwitchTable::moduleTrace<Desc>();
    FEN_TRACE(trace, 8,
              "void " << HandlerName<Desc>::value << "::handleEntry(const "
                      << Fen::ValueTraits<Key>::typeName() << "&) " << Fen::printText(k));
    FEN_TRACE(trace, 8, Texts::programming << (Item{r != nullptr, k, r ? *r : Result()}.toStrep()));
  }
  static const Entry& cast(const Fen::PtrConst<DirectBaseEntry>& item) {
    return static_cast<const Entry&>(*item);
  }
};

template <class Desc>
class DirectConvertor
    : public DescribedConvertor<DirectConvertor<Desc>, DirectBaseConvertor, Desc> {
 public:
  using Key = typename Desc::Key;
  using Result = typename Desc::Result;
  using Entry = typename Desc::Entry;
  using Item = RowItem<Desc>;
  using Table = typename Desc::Table;
  using Codec = DirectCodec<Desc>;
  static constexpr unsigned wordsPerRow = Desc::hwEntryWords;
  static constexpr const char* syncSignature =
      "virtual void TarnSwitchTable::DirectBaseConvertor::syncEntries()";
  static constexpr const char* itemLabel = " ";

  using Described = DescribedConvertor<DirectConvertor<Desc>, DirectBaseConvertor, Desc>;
  using DirectBaseConvertor::swTable;
  using RowConvertor::copies;
  using RowConvertor::enabled;
  using RowConvertor::primaryCopy;
  using RowConvertor::readRow;
  using RowConvertor::trace;

  explicit DirectConvertor(DirectTable<Desc>* table) : Described(table, Desc::hwEntryWords) {}
  Table& table() const { return static_cast<Table&>(*this->swTable()); }

  HwIndex hwIndexFromKey(const Key& k) const { return layout_->hwIndexFromKey(k); }
  Key keyFromHwIndex(HwIndex index) const { return layout_->keyFromHwIndex(index); }

  // Programs one item: its row in every copy, written where the words differ.
  void programItem(const Item& item) { programKey(item.key, item.valid ? &item.result : nullptr); }
  // Programs the row of `k` holding `r` (its null row when r is nullptr). The hot path of every
  // change: nothing is allocated and, with tracing off, nothing formatted.
  void programKey(const Key& k, const Result* r) {
    if (trace().on(8)) traceEntryIs(k, r);
    if (!enabled()) return;
    const HwIndex row = layout_->hwIndexFromKey(k);
    writeRow(*this, row, [&](U8 encoding, U32* buffer) {
      Codec::encode(*layout_, k, r, row, encoding, buffer);
    });
  }

  // Reconcile hooks (TarnTableReconcile.h).
  void encodeItem(const Item& item, HwIndex row, U8 encoding, U32* buffer) const {
    std::fill(buffer, buffer + Desc::hwEntryWords, 0u);
    Codec::encode(*layout_, item.key, item.valid ? &item.result : nullptr, row, encoding, buffer);
  }
  void staticWords(HwIndex row, U32* buffer) const {
    std::fill(buffer, buffer + hwEntryMaxWords, 0u);
    layout_->setStaticBuffer(row, buffer);
  }
  void nullItem(HwIndex row, Item& item) const {
    item.valid = false;
    item.key = layout_->keyFromHwIndex(row);
    item.result = Result();
  }
  bool decodeItem(HwIndex row, const U32* words, Item& item) const {
    return Codec::decode(*layout_, row, words, item);
  }
  bool softwareItem(HwIndex row, Item& item) const {
    item.key = layout_->keyFromHwIndex(row);
    const Result* r = table().entry(item.key);
    item.valid = r != nullptr;
    item.result = r ? *r : Result();
    return item.valid;
  }
  bool syncPlace(HwIndex, const Item&) const { return true; }
  void syncResultIs(HwIndex, const Item&) const {}
  void convergePrepare() const {}

  // The engine's operations.
  void syncEntries() override { syncRows(*this); }
  void initHwEntries(bool resetHw) override {
    FEN_TRACE(trace(), 8,
              "void TarnSwitchTable::DirectBaseConvertor::initHwEntries(bool) "
                  << (resetHw ? "true" : "false"));
    initRows(*this, resetHw);
  }
  void sanitizeEntry(HwIndex index) override {
    FEN_TRACE(trace(), 8,
              "void TarnSwitchTable::DirectBaseConvertor::sanitizeEntry(TarnSwitchApi::HwIndex) "
                  << index);
    sanitizeRow(*this, index);
  }
  void converge() override { convergeRows(*this); }
  unsigned expectedHwRow(HwTableId id, HwIndex index, U32* words) override {
    return expectedRowWords(*this, id, index, words);
  }

  // The item hooks of the engine, on entries of this table.
  void hwTableEntryIs(const Fen::PtrConst<DirectBaseEntry>& e) override {
    programItem(static_cast<const Entry&>(*e).item());
  }
  HwIndex hwIndexFromItem(const Fen::PtrConst<DirectBaseEntry>& e) const override {
    return layout_->hwIndexFromKey(static_cast<const Entry&>(*e).key);
  }
  void setStaticBuffer(HwIndex index, U32* buffer) override {
    layout_->setStaticBuffer(index, buffer);
  }
  void setHwBuffer(const Fen::PtrConst<DirectBaseEntry>& e, U32* buffer) override {
    const Entry& entry = static_cast<const Entry&>(*e);
    Codec::encode(*layout_, entry.key, entry.valid() ? &entry.result : nullptr,
                  layout_->hwIndexFromKey(entry.key), copies().front().encoding, buffer);
  }
  Fen::Ptr<DirectBaseEntry> nullDirectEntry(HwIndex index) const override {
    Item item;
    nullItem(index, item);
    return Entry::of(item);
  }
  Fen::Ptr<DirectBaseEntry> decodeHwEntry(HwIndex index) override {
    FEN_TRACE(trace(), 8,
              "virtual Fen::Ptr<TarnSwitchTable::DirectBaseEntry> "
              "TarnSwitchTable::DirectBaseConvertor::decodeHwEntry(TarnSwitchApi::HwIndex) "
                  << index);
    const Copy* primary = primaryCopy(index);
    return decodeHwRow(primary ? primary->id : 0, index);
  }
  Fen::Ptr<DirectBaseEntry> decodeHwRow(HwTableId id, HwIndex index) override {
    return Entry::of(decodeRowItem(*this, id, index));
  }

 protected:
  using Described::layout_;

 private:
  __attribute__((noinline)) void traceEntryIs(const Key& k, const Result* r) const {
    FEN_TRACE(trace(), 8,
              "void TarnSwitchTable::DirectBaseConvertor::hwTableEntryIs("
              "Fen::PtrConst<TarnSwitchTable::DirectBaseEntry>) "
                  << (Item{r != nullptr, k, r ? *r : Result()}.toStrep()));
  }
};

}  // namespace TarnSwitchTable
