#pragma once
// Hashed table engine: software tables whose entries live in a multi-way hashed hardware table,
// each entry in one bucket of one way. The cuckoo engine decides where entries go and which
// residents move; this engine turns its queued commands into row writes in queue order, walks
// the hardware at start, repairs position-dependent bits and, after a restart, teaches the cuckoo
// engine the placement hardware already holds and reconciles software with it. The hardware
// table holds the ways one after the other: HwIndex = way << hashBits | bucket.
//
// A hashed layout, besides the names of TarnTableDescribed.h:
//   using Entry = XTableCuckooEntry; using Table = XTable; using Convertor = XConvertor;
//   static constexpr U8 hwEntryWords = 6;
//   static constexpr U32 hashBuckets = 8192, hashBits = 13, hashWays = 3, hashEntries = 1;
//   static constexpr StaticWord staticWords[] = {{4, 0xFFFFFFFFu}};   (optional)
//   static constexpr bool programsUnchanged = false;                  (optional, default true)
//   static U32 bucket(const Key&, U8 way);                  // the key's bucket in that way
//   explicit XLayout(const TarnSwitch::ChipProfile&);
//   void declare(const HwTables&) const;                    // the copies and their registers
//   void setStaticBuffer(const CuckooLocation&, U32* buffer) const;
//   void encodeEntry(const RowItem<XLayout>&, U32* buffer) const;    // key, result and valid
//   bool decodeEntry(const U32* words, const CuckooLocation&, RowItem<XLayout>&) const;
#include <optional>
#include <string>

#include "Fen/Ptr.h"
#include "Fen/PtrPool.h"
#include "Keel/Cuckoo.h"
#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnTableDescribed.h"
#include "TarnSwitchTable/TarnTableDirectBase.h"
#include "TarnSwitchTable/TarnTableEntries.h"
#include "TarnSwitchTable/TarnTableReconcile.h"

namespace TarnSwitchTable {

using Keel::Cuckoo::CuckooLocation;

// The engine's trace handle (module "TarnTableHashBase").
const Fen::TraceHandle& hashBaseTrace();

// The item the cuckoo engine places; concrete entries add key and result and the hashing.
class HashBaseCuckooEntry : public Keel::Cuckoo::HashItem {
 public:
  const char* fwkType() const override { return "TarnSwitchTable::HashBaseCuckooEntry"; }
  // False for a null entry: the encoding of an empty location, or a deleted key.
  bool valid() const { return valid_; }
  void validIs(bool v) { valid_ = v; }

 private:
  bool valid_ = false;
};
using HashEntryPtr = Fen::Ptr<HashBaseCuckooEntry>;
using HashEntryConstPtr = Fen::PtrConst<HashBaseCuckooEntry>;

class HashBaseConvertor;

class HashBaseTable : public TarnSwitchApi::SwTable {
 public:
  using SwTable::SwTable;
  const char* fwkType() const override { return "TarnSwitchTable::HashBaseTable"; }

  // Builds and connects the convertor, lets it set its masks and creates the cuckoo engine.
  void doSetProfileConvertor(Fen::Ptr<HwTableDescriptorConfig> config,
                             Fen::Ptr<HwTableCollection> chip) override;
  // Ends a start: every software entry is placed and every location converges to it.
  void doInitComplete() override;

  virtual Fen::Ptr<HashBaseConvertor> profileConvertorFactory() const = 0;
  virtual bool entryHasByHashItem(const HashEntryConstPtr& item) const = 0;
  // Stores the item's key and result into software (adopting a hardware entry).
  virtual void entryIsByHashItem(const HashEntryConstPtr& item) = 0;
  virtual bool entryEqualByHashItem(const HashEntryConstPtr& item) const = 0;
  // Overwrites the item's result with software's result for its key.
  virtual void updateHashItem(const HashEntryPtr& item) const = 0;
  virtual bool hwInconsistentEntryFromHashItem(const HashEntryConstPtr& item) const = 0;
  virtual void hwInconsistentEntryDelFromHashItem(const HashEntryConstPtr& item) = 0;
  // Drops the table's own cuckoo entry for the item's key.
  virtual void hashItemDelFromHashItem(const HashEntryConstPtr& item) = 0;
  // Makes the item the table's own cuckoo entry for its key (an entry placed from hardware).
  virtual void hashItemIsFromHashItem(const HashEntryConstPtr& item) = 0;

  // Creates the cuckoo configuration, status and hash table from the convertor's geometry.
  void doInitHashTable();
  // Programs a changed key: deletes it (not valid), rewrites it where it is, or inserts it.
  // An insert or delete the cuckoo engine refuses stops the process.
  void handleHashEntry(const HashEntryConstPtr& hashEntry);
  // Turns the cuckoo engine's queued commands into row writes, in queue order.
  void handlePendingCuckooCmds();
  // Whether the item's key is placed or could be placed now; changes nothing.
  bool hashEntryInsertable(const HashEntryConstPtr& item) const;
  // The trace handle of the concrete table's module.
  virtual const Fen::TraceHandle& moduleTrace() const { return hashBaseTrace(); }

  U32 hashWays() const { return hashWays_; }
  void hashWaysIs(U32 v) { hashWays_ = v; }
  U32 hashBuckets() const { return hashBuckets_; }
  void hashBucketsIs(U32 v) { hashBuckets_ = v; }
  U32 hashEntries() const { return hashEntries_; }
  void hashEntriesIs(U32 v) { hashEntries_ = v; }

  Keel::Cuckoo::HashTable* cuckooHashTable() const { return cuckoo_.ptr(); }
  void cuckooHashTableIs(Fen::Ptr<Keel::Cuckoo::Config> config,
                         Fen::Ptr<Keel::Cuckoo::Status> status);
  void cuckooHashTableDel() { cuckoo_ = nullptr; }
  Keel::Cuckoo::Status* cuckooHashTableStatus() const { return status_.ptr(); }
  void cuckooHashTableStatusIs(Fen::Ptr<Keel::Cuckoo::Status> s) { status_ = std::move(s); }
  Keel::Cuckoo::Config* cuckooHashTableConfig() const { return config_.ptr(); }

  HashBaseConvertor* profileConvertor() const;

 private:
  U32 hashWays_ = 0;
  U32 hashBuckets_ = 0;
  U32 hashEntries_ = 0;
  Fen::Ptr<Keel::Cuckoo::HashTable> cuckoo_;
  Fen::Ptr<Keel::Cuckoo::Status> status_;
  Fen::Ptr<Keel::Cuckoo::Config> config_;
};

class HashBaseConvertor : public RowConvertor {
 public:
  // `hwEntryWords` above 8 raises the DataArrayIndex range exception; hashBuckets must be
  // 2 ^ hashBits; a bucket of more than one entry raises the range exception (a row holds one
  // entry).
  HashBaseConvertor(HashBaseTable* swTable, U8 hwEntryWords, U32 hashBuckets, U32 hashBits,
                    U32 hashWays, U32 hashEntries);
  const char* fwkType() const override { return "TarnSwitchTable::HashBaseConvertor"; }

  // Writes the static bits of `location` into `buffer` (hwEntryWords words).
  virtual void setStaticBuffer(const CuckooLocation& location, U32* buffer) = 0;
  // Encodes the item for `location` into `buffer`, static bits included.
  virtual void setHwBuffer(const HashEntryConstPtr& item, const CuckooLocation& location,
                           U32* buffer) = 0;
  // A new entry with `valid` false.
  virtual HashEntryPtr nullHashEntry() const = 0;
  // Reads entry `index` of its first copy as an item, valid when the location is not empty.
  virtual HashEntryPtr decodeHwEntry(HwIndex index) = 0;

  // Writes the item's encoding at `location` to every copy whose words differ.
  virtual void hwTableEntryIs(const HashEntryConstPtr& item, const CuckooLocation& location) = 0;
  // Writes the null encoding at `location`.
  virtual void hwTableEntryDel(const CuckooLocation& location) = 0;
  // Visits every location: reset empties it, otherwise sanitizeEntry (during a start, the
  // convergence that ends it does the work).
  virtual void initHwEntries(bool resetHw) = 0;
  // Repairs the static bits of entry `index` in every copy, keeping the data bits.
  virtual void sanitizeEntry(HwIndex index, const CuckooLocation& location) = 0;
  // Every location of every copy converges to the cuckoo engine's placement (doInitComplete).
  virtual void converge() = 0;
  // Decodes entry `index` of hardware table `id`; an unknown copy raises the range exception.
  virtual HashEntryPtr decodeHwRow(HwTableId id, HwIndex index) = 0;

  HwIndex hwIndex(const CuckooLocation& location) const {
    return (HwIndex(location.tableId.value()) << hashBits_) | location.bucket;
  }
  // A way above 9 raises the TableId range exception.
  CuckooLocation cuckooLocation(HwIndex index) const {
    return CuckooLocation(Keel::Cuckoo::TableId(index >> hashBits_), index & (hashBuckets_ - 1));
  }

  U32 hashBuckets() const { return hashBuckets_; }
  U32 hashBits() const { return hashBits_; }
  U32 hashWays() const { return hashWays_; }
  U32 hashEntries() const { return hashEntries_; }
  HashBaseTable* swTable() const { return swTable_; }

 private:
  HashBaseTable* swTable_;
  U32 hashBuckets_;
  U32 hashBits_;
  U32 hashWays_;
  U32 hashEntries_;
};

// ---------------------------------------------------------------------------------------------
// Typed layer: everything follows from the layout `Desc`.

// Entry of a hashed table described by Desc: its bucket in a way is the layout's.
template <class Desc>
class HashEntry : public DescribedEntry<HashBaseCuckooEntry, Desc>,
                  public Fen::Pooled<typename Desc::Entry> {
 public:
  bool isEqual(const Fen::Ptr<const Keel::Cuckoo::HashItem>& other) const override {
    return static_cast<const HashEntry&>(*other).key == this->key;
  }
  U32 getHash(U8 way) const override { return Desc::bucket(this->key, way); }
  // Entries of the table's pool go back to it.
  void zeroReferencesIs() override { this->release(static_cast<typename Desc::Entry*>(this)); }
};

template <class Desc>
class HashTable : public HashBaseTable,
                  public TableEntries<HashTable<Desc>, typename Desc::Key, typename Desc::Result> {
 public:
  using Key = typename Desc::Key;
  using Result = typename Desc::Result;
  using Entry = typename Desc::Entry;
  using Item = RowItem<Desc>;
  using Layout = Desc;
  static constexpr bool programsUnchanged = ProgramsUnchanged<Desc>::value;
  // The table's key collections are sized for every location of the hardware table at once, so
  // filling the table never grows them: placing a key allocates nothing.
  explicit HashTable(std::string name) : HashBaseTable(std::move(name)) {
    constexpr std::size_t locations = std::size_t(Desc::hashBuckets) * Desc::hashWays;
    this->entry_.reserve(locations);
    items_.reserve(locations);
  }

  const char* fwkType() const override { return Desc::tableName; }
  const Fen::TraceHandle& moduleTrace() const override {
    return TarnSwitchTable::moduleTrace<Desc>();
  }
  Fen::Ptr<HashBaseConvertor> profileConvertorFactory() const override {
    return Fen::makePtr<typename Desc::Convertor>(const_cast<HashTable*>(this));
  }
  typename Desc::Convertor* profileConvertor() const {
    return static_cast<typename Desc::Convertor*>(profileConvertorPtr());
  }

  // Whether `k` is placed or could be placed now, without changing anything. entryIs of a key
  // the hardware table cannot place stops the process: ask this first.
  bool entryInsertable(const Key& k) const {
    if (items_.has(k)) return true;
    probe_->key = k;
    return hashEntryInsertable(probe_);
  }
  bool scratchInsertable() const override { return entryInsertable(this->scratchKeyValue()); }
  // The table's own cuckoo entries, by key: exactly the keys the cuckoo engine holds.
  const Fen::KeyedCollection<Key, Fen::Ptr<Entry>>& hashItem() const { return items_; }

  bool entryHasByHashItem(const HashEntryConstPtr& item) const override {
    return this->entry(cast(item).key) != nullptr;
  }
  void entryIsByHashItem(const HashEntryConstPtr& item) override {
    this->entryIs(cast(item).key, cast(item).result);
  }
  bool entryEqualByHashItem(const HashEntryConstPtr& item) const override {
    const Result* r = this->entry(cast(item).key);
    return r && *r == cast(item).result;
  }
  void updateHashItem(const HashEntryPtr& item) const override {
    Entry& e = static_cast<Entry&>(*item);
    const Result* r = this->entry(e.key);
    e.result = r ? *r : Result();
  }
  bool hwInconsistentEntryFromHashItem(const HashEntryConstPtr& item) const override {
    return this->hwInconsistentEntry(cast(item).key);
  }
  void hwInconsistentEntryDelFromHashItem(const HashEntryConstPtr& item) override {
    this->hwInconsistentEntryDel(cast(item).key);
  }
  void hashItemDelFromHashItem(const HashEntryConstPtr& item) override {
    items_.del(cast(item).key);
  }
  void hashItemIsFromHashItem(const HashEntryConstPtr& item) override {
    items_.set(cast(item).key, Fen::Ptr<Entry>(const_cast<Entry*>(&cast(item))));
  }
  std::string decodeRowText(HwTableId id, HwIndex index) override {
    if (!profileConvertor()) throw Fen::RangeException(name() + ": no chip connected");
    return profileConvertor()->decodeHwRow(id, index)->toStrep();
  }

  // A new cuckoo entry from the table's pool (not yet the table's own).
  Fen::Ptr<Entry> newItem() { return pool_->take(); }
  // Heap bytes of the pool of cuckoo entries.
  std::size_t itemPoolBytes() const { return pool_->memoryBytes(); }
  // The table's own cuckoo entry of `k`, or nullptr.
  Entry* ownItem(const Key& k) const {
    const Fen::Ptr<Entry>* e = items_.find(k);
    return e ? e->ptr() : nullptr;
  }
  // Places every software entry the cuckoo engine does not hold yet.
  void placeUnplacedEntries() {
    if (items_.size() == this->entry().size()) return;
    for (const Key& k : this->entry().keys()) {
      if (!items_.has(k)) this->handleEntry(k);
    }
  }

 private:
  friend class TableEntries<HashTable, Key, Result>;

  // Programs `k` holding `r`, or its removal when r is nullptr. Each placed key has one item,
  // shared with the cuckoo engine and updated in place, so a change of result rewrites the
  // key's location and a later move carries the current result.
  void programEntry(const Key& k, const Result* r) {
    if (!profileConvertor()) return;
    const Fen::TraceHandle& trace = TarnSwitchTable::moduleTrace<Desc>();
    FEN_TRACE(trace, 8,
              "void " << HandlerName<Desc>::value << "::handleEntry(const " << Key::fenTypeName
                      << "&) " << k.toStrep());
    Entry* owned = ownItem(k);
    if (!r && !owned) return;  // never placed: nothing in hardware
    FEN_TRACE(trace, 8,
              Desc::entryName << "::Ptr " << Desc::tableName << "::createHashItem(const "
                              << Key::fenTypeName << "&) " << k.toStrep());
    Fen::Ptr<Entry> item = owned ? Fen::Ptr<Entry>(owned) : newItem();
    item->key = k;
    item->validIs(r != nullptr);
    if (r) item->result = *r;
    if (!owned) items_.set(k, item);
    FEN_TRACE(trace, 8, Texts::programming << item->toStrep());
    if constexpr (ProgrammingInRing<Desc>::value)
      this->ringTrace().write(Texts::programming, Item{item->valid(), k, item->result});
    handleHashEntry(item);
  }
  static const Entry& cast(const HashEntryConstPtr& item) {
    return static_cast<const Entry&>(*item);
  }

  Fen::Ptr<Fen::PtrPool<Entry>> pool_ = Fen::makePtr<Fen::PtrPool<Entry>>();
  Fen::KeyedCollection<Key, Fen::Ptr<Entry>> items_;
  Fen::Ptr<Entry> probe_ = pool_->take();
};

template <class Desc>
class HashConvertor : public DescribedConvertor<HashConvertor<Desc>, HashBaseConvertor, Desc> {
 public:
  using Key = typename Desc::Key;
  using Result = typename Desc::Result;
  using Entry = typename Desc::Entry;
  using Item = RowItem<Desc>;
  using Table = typename Desc::Table;
  static constexpr unsigned wordsPerRow = Desc::hwEntryWords;
  static constexpr const char* syncSignature =
      "virtual void TarnSwitchTable::HashBaseConvertor::syncEntries()";
  static constexpr const char* itemLabel = " hashEntry ";

  using Described = DescribedConvertor<HashConvertor<Desc>, HashBaseConvertor, Desc>;
  using HashBaseConvertor::cuckooLocation;
  using HashBaseConvertor::hashWays;
  using HashBaseConvertor::hwIndex;
  using HashBaseConvertor::swTable;
  using RowConvertor::copies;
  using RowConvertor::enabled;
  using RowConvertor::primaryCopy;
  using RowConvertor::readRow;
  using RowConvertor::ring;
  using RowConvertor::trace;

  explicit HashConvertor(HashTable<Desc>* table)
      : Described(table, Desc::hwEntryWords, Desc::hashBuckets, Desc::hashBits, Desc::hashWays,
                  Desc::hashEntries) {}
  Table& table() const { return static_cast<Table&>(*this->swTable()); }

  // Reconcile hooks (TarnTableReconcile.h).
  void encodeItem(const Item& item, HwIndex row, U8, U32* buffer) const {
    std::fill(buffer, buffer + Desc::hwEntryWords, 0u);
    layout_->encodeEntry(item, buffer);
    layout_->setStaticBuffer(cuckooLocation(row), buffer);
  }
  void staticWords(HwIndex row, U32* buffer) const {
    std::fill(buffer, buffer + hwEntryMaxWords, 0u);
    layout_->setStaticBuffer(cuckooLocation(row), buffer);
  }
  void nullItem(HwIndex, Item& item) const { item = Item(); }
  bool decodeItem(HwIndex row, const U32* words, Item& item) const {
    item = Item();
    return item.valid = layout_->decodeEntry(words, cuckooLocation(row), item);
  }
  bool softwareItem(HwIndex row, Item& item) const {
    const auto* resident = table().cuckooHashTable()->residentAt(cuckooLocation(row));
    if (!resident) {
      item = Item();
      return false;
    }
    item = static_cast<const Entry&>(*resident).item();
    return true;
  }
  // An entry read back stays where hardware holds it, unless its key does not hash there or
  // was found earlier in the walk: then it is removed (written empty while enabled).
  bool syncPlace(HwIndex row, const Item& item) {
    const CuckooLocation location = cuckooLocation(row);
    U32 hash[Keel::Cuckoo::maxWays];
    for (U32 w = 0; w < hashWays(); ++w) hash[w] = Desc::bucket(item.key, U8(w));
    auto& cuckoo = *table().cuckooHashTable();
    const Entry* owned = table().ownItem(item.key);
    if (hash[location.tableId.value()] != location.bucket ||
        (owned && cuckoo.residentAt(location) != owned)) {
      ring().write(8, Texts::removedMisplaced, item);
      if (enabled()) {
        Item empty;
        writeItemRow(*this, empty, row);
      }
      return false;
    }
    Fen::Ptr<Entry> placed = table().newItem();
    placed->itemIs(item);
    Fen::Ptr<Keel::Cuckoo::Command> ec = cuckoo.setItemAtLocation(placed, location, hash);
    FEN_ASSERT(ec->oldItem() == NULL);
    table().hashItemIsFromHashItem(placed);
    return true;
  }
  void syncResultIs(HwIndex, const Item& item) const {
    table().ownItem(item.key)->result = item.result;
  }
  void convergePrepare() { table().placeUnplacedEntries(); }

  // The engine's operations.
  void syncEntries() override { syncRows(*this); }
  void initHwEntries(bool resetHw) override {
    FEN_TRACE(trace(), 8,
              "void TarnSwitchTable::HashBaseConvertor::initHwEntries(bool) "
                  << (resetHw ? "true" : "false"));
    initRows(*this, resetHw);
  }
  void sanitizeEntry(HwIndex index, const CuckooLocation& location) override {
    FEN_TRACE(trace(), 8,
              "void TarnSwitchTable::HashBaseConvertor::sanitizeEntry(TarnSwitchApi::HwIndex, "
              "const Keel::Cuckoo::CuckooLocation&) "
                  << index << " " << location.toStrep());
    sanitizeRow(*this, index);
  }
  void converge() override { convergeRows(*this); }
  unsigned expectedHwRow(HwTableId id, HwIndex index, U32* words) override {
    return expectedRowWords(*this, id, index, words);
  }

  // The item hooks of the engine, on entries of this table.
  void hwTableEntryIs(const HashEntryConstPtr& e, const CuckooLocation& location) override {
    FEN_TRACE(trace(), 8,
              "void TarnSwitchTable::HashBaseConvertor::hwTableEntryIs("
              "Fen::PtrConst<TarnSwitchTable::HashBaseCuckooEntry>, "
              "const Keel::Cuckoo::CuckooLocation&) "
                  << e->toStrep() << " " << location.toStrep());
    if (enabled()) writeItemRow(*this, static_cast<const Entry&>(*e).item(), hwIndex(location));
  }
  void hwTableEntryDel(const CuckooLocation& location) override {
    FEN_TRACE(trace(), 8,
              "void TarnSwitchTable::HashBaseConvertor::hwTableEntryDel("
              "const Keel::Cuckoo::CuckooLocation&) "
                  << location.toStrep());
    if (enabled()) writeItemRow(*this, Item(), hwIndex(location));
  }
  void setStaticBuffer(const CuckooLocation& location, U32* buffer) override {
    layout_->setStaticBuffer(location, buffer);
  }
  void setHwBuffer(const HashEntryConstPtr& e, const CuckooLocation& location,
                   U32* buffer) override {
    layout_->encodeEntry(static_cast<const Entry&>(*e).item(), buffer);
    layout_->setStaticBuffer(location, buffer);
  }
  HashEntryPtr nullHashEntry() const override { return Fen::makePtr<Entry>(); }
  HashEntryPtr decodeHwEntry(HwIndex index) override {
    FEN_TRACE(trace(), 8,
              "virtual Fen::Ptr<TarnSwitchTable::HashBaseCuckooEntry> "
              "TarnSwitchTable::HashBaseConvertor::decodeHwEntry(TarnSwitchApi::HwIndex) "
                  << index);
    const Copy* primary = primaryCopy(index);
    return decodeHwRow(primary ? primary->id : 0, index);
  }
  HashEntryPtr decodeHwRow(HwTableId id, HwIndex index) override {
    return Entry::of(decodeRowItem(*this, id, index));
  }

 protected:
  using Described::layout_;
};

}  // namespace TarnSwitchTable
