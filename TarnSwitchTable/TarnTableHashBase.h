#pragma once
// Hashed table engine: software tables whose entries live in a multi-way hashed hardware table,
// each entry in one bucket of one way. The cuckoo engine decides where entries go and which
// residents move; this engine turns its queued commands into row writes in queue order, walks
// the hardware at start, repairs position-dependent bits and, after a restart, teaches the cuckoo
// engine the placement hardware already holds and reconciles software with it. The hardware
// table holds the ways one after the other: HwIndex = way << hashBits | bucket.
#include <map>
#include <string>
#include <vector>

#include "Fen/Collection.h"
#include "Fen/Ptr.h"
#include "Fen/Trace.h"
#include "Keel/Cuckoo.h"
#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnTableEntries.h"
#include "TarnSwitchTable/TarnTableHwRow.h"

namespace TarnSwitchTable {

using Keel::Cuckoo::CuckooLocation;
using TarnSwitchApi::HwTableCollection;
using TarnSwitchApi::HwTableDescriptorConfig;

// The engine's trace handle (module "TarnTableHashBase").
const Fen::TraceHandle& hashBaseTrace();

// The item the cuckoo engine places; concrete entries add key and result and the hashing.
class HashBaseCuckooEntry : public Keel::Cuckoo::HashItem {
 public:
  const char* fwkType() const override { return "TarnSwitchTable::HashBaseCuckooEntry"; }
  // False for a null entry: the encoding of an empty location, or a deleted key.
  bool valid = false;
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

  // Creates the cuckoo configuration, status and hash table from the convertor's geometry.
  void doInitHashTable();
  // Programs a changed key: deletes it (not valid), rewrites it where it is, or inserts it.
  // An insert or delete the cuckoo engine refuses stops the process.
  void handleHashEntry(const HashEntryConstPtr& hashEntry);
  // Turns the cuckoo engine's queued commands into row writes, in queue order.
  void handlePendingCuckooCmds();
  // Whether the item's key is placed or could be placed now; changes nothing.
  bool hashEntryInsertable(const HashEntryConstPtr& item) const;
  // The trace handle of the concrete table's module (the engine's own by default).
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

class HashBaseConvertor : public HwRowConvertor {
 public:
  // `hwEntryWords` above 8 raises the DataArrayIndex range exception; hashBuckets must be
  // 2 ^ hashBits.
  HashBaseConvertor(HashBaseTable* swTable, U8 hwEntryWords, U32 hashBuckets, U32 hashBits,
                    U32 hashWays, U32 hashEntries);
  const char* fwkType() const override { return "TarnSwitchTable::HashBaseConvertor"; }

  void syncEntries() override;
  // Writes the static bits of `location` into `buffer` (hwEntryWords words).
  virtual void setStaticBuffer(const CuckooLocation& location, U32* buffer) = 0;
  // Encodes the item for `location` into `buffer`, static bits included.
  virtual void setHwBuffer(const HashEntryConstPtr& item, const CuckooLocation& location,
                           U32* buffer) = 0;
  // A new entry with `valid` false.
  virtual HashEntryPtr nullHashEntry() const = 0;
  // Reads entry `index` of hardware table 0 as an item, valid when the location is not empty.
  virtual HashEntryPtr decodeHwEntry(HwIndex index) = 0;
  // The item that the words of entry `index` (8 words, missing ones 0) decode to.
  virtual HashEntryPtr decodeHwWords(HwIndex index, const U32* words) const = 0;

  // Writes the item's encoding at `location` to every copy whose words differ.
  void hwTableEntryIs(const HashEntryConstPtr& item, const CuckooLocation& location);
  // Writes the null encoding at `location`.
  void hwTableEntryDel(const CuckooLocation& location);
  // Visits every entry of table 0's range: reset empties it, otherwise sanitizeEntry.
  void initHwEntries(bool resetHw);
  // Repairs the static bits of entry `index` in every copy, keeping the data bits.
  void sanitizeEntry(HwIndex index, const CuckooLocation& location);
  // The encoding of what the cuckoo engine holds at the location (or of the null entry); every
  // copy mirrors table 0.
  unsigned expectedHwRow(HwTableId id, HwIndex index, U32* words) override;
  // Decodes entry `index` of hardware table `id`; an unknown copy raises the range exception.
  HashEntryPtr decodeHwRow(HwTableId id, HwIndex index);

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

 protected:
  // Reads entry `index` of hardware table 0 into `words` (8 words, missing ones 0).
  void readHwWords0(HwIndex index, U32* words) { readHwWords(0, index, words); }

 private:
  HashBaseTable* swTable_;
  HashEntryConstPtr nullEntry_;  // made once: emptying a location allocates nothing
  U32 hashBuckets_;
  U32 hashBits_;
  U32 hashWays_;
  U32 hashEntries_;
};

// ---------------------------------------------------------------------------------------------
// Typed layer: the entry that carries a key and a result, the table that keeps them with one
// cuckoo entry per placed key, and the convertor hooks that follow from a row codec.

// Entry of a hashed table. D names itself with `static constexpr const char* fenTypeName` and
// supplies getHash(way) from its key.
template <class D, class K, class R>
class HashEntry : public HashBaseCuckooEntry {
 public:
  using Key = K;
  using Result = R;
  Key key;
  Result result;

  const char* fwkType() const override { return D::fenTypeName; }
  bool isEqual(const Fen::Ptr<const Keel::Cuckoo::HashItem>& other) const override {
    return static_cast<const HashEntry&>(*other).key == key;
  }
  std::string toStrep() const override { return itemStrep(D::fenTypeName, valid, key, result); }
};

template <class Entry>
class HashTable : public HashBaseTable, public TableEntries<HashTable<Entry>, Entry> {
 public:
  using Key = typename Entry::Key;
  using Result = typename Entry::Result;
  using HashBaseTable::HashBaseTable;

  // Whether `k` is placed or could be placed now, without changing anything. entryIs of a key
  // the hardware table cannot place stops the process: ask this first.
  bool entryInsertable(const Key& k) const {
    if (items_.count(k) != 0) return true;
    if (!probe_) probe_ = Fen::makePtr<Entry>();
    probe_->key = k;
    return hashEntryInsertable(probe_);
  }

  bool entryHasByHashItem(const HashEntryConstPtr& item) const override {
    return this->itemKeyHas(cast(item));
  }
  void entryIsByHashItem(const HashEntryConstPtr& item) override {
    adopt(item);
    this->entryIs(cast(item).key, cast(item).result);
  }
  bool entryEqualByHashItem(const HashEntryConstPtr& item) const override {
    return this->itemEqual(cast(item));
  }
  void updateHashItem(const HashEntryPtr& item) const override {
    this->itemResultLoad(static_cast<Entry&>(*item));
    adopt(item);
  }
  bool hwInconsistentEntryFromHashItem(const HashEntryConstPtr& item) const override {
    return this->hwInconsistentEntry(cast(item).key);
  }
  void hwInconsistentEntryDelFromHashItem(const HashEntryConstPtr& item) override {
    this->hwInconsistentEntryDel(cast(item).key);
  }
  void hashItemDelFromHashItem(const HashEntryConstPtr& item) override {
    auto it = items_.find(cast(item).key);
    if (it == items_.end()) return;
    if (spare_.size() < maxSpareItems) spare_.push_back(it->second);
    items_.erase(it);
  }

 private:
  friend class TableEntries<HashTable<Entry>, Entry>;
  static constexpr std::size_t maxSpareItems = 64;

  // Programs `k` holding `r`, or its removal when r is nullptr. Each placed key has one item,
  // shared with the cuckoo engine and updated in place, so a change of result rewrites the
  // key's location and a later move carries the current result. Items of deleted keys are
  // kept for reuse.
  void programEntry(const Key& k, const Result* r) {
    if (!profileConvertorPtr()) return;
    FEN_TRACE(
        moduleTrace(), 8,
        "void " << fwkType() << "::handleEntry(const " << Key::fenTypeName << "&) " << k.toStrep());
    auto it = items_.find(k);
    if (!r && it == items_.end()) return;  // never placed: nothing in hardware
    Fen::Ptr<Entry> item = it != items_.end() ? it->second : newItem(k);
    item->valid = r != nullptr;
    if (r) item->result = *r;
    FEN_TRACE(moduleTrace(), 8, "Programming Entry " << item->toStrep());
    handleHashEntry(item);
  }
  Fen::Ptr<Entry> newItem(const Key& k) {
    Fen::Ptr<Entry> item;
    if (!spare_.empty() && spare_.back().unique()) {
      item = spare_.back();
      spare_.pop_back();
    } else {
      item = Fen::makePtr<Entry>();
    }
    item->key = k;
    items_.emplace(k, item);
    return item;
  }
  // The cuckoo engine holds the item read from hardware: it becomes the key's own item.
  void adopt(const HashEntryConstPtr& item) const {
    items_[cast(item).key] = Fen::Ptr<Entry>(const_cast<Entry*>(&cast(item)));
  }
  static const Entry& cast(const HashEntryConstPtr& item) {
    return static_cast<const Entry&>(*item);
  }

  mutable std::map<Key, Fen::Ptr<Entry>> items_;
  std::vector<Fen::Ptr<Entry>> spare_;
  mutable Fen::Ptr<Entry> probe_;
};

// Convertor hooks that follow from the row codec: encodeEntry writes key, result and `valid`,
// decodeEntry reads them back.
template <class Entry>
class HashConvertor : public HashBaseConvertor {
 public:
  using HashBaseConvertor::HashBaseConvertor;

  // Writes the entry's data bits into the row buffer (static bits are set afterwards).
  virtual void encodeEntry(const Entry& e, U32* buffer) const = 0;
  // Reads key, result and `valid` from a row's words (8 words, missing ones 0).
  virtual void decodeEntry(const U32* words, Entry& e) const = 0;

  void setHwBuffer(const HashEntryConstPtr& item, const CuckooLocation& location,
                   U32* buffer) override {
    encodeEntry(static_cast<const Entry&>(*item), buffer);
    setStaticBuffer(location, buffer);
  }
  HashEntryPtr nullHashEntry() const override { return Fen::makePtr<Entry>(); }
  HashEntryPtr decodeHwEntry(HwIndex index) override {
    FEN_TRACE(swTable()->moduleTrace(), 8,
              "virtual Fen::Ptr<TarnSwitchTable::HashBaseCuckooEntry> "
              "TarnSwitchTable::HashBaseConvertor::decodeHwEntry(TarnSwitchApi::HwIndex) "
                  << index);
    U32 words[TarnSwitchApi::hwEntryMaxWords] = {};
    readHwWords0(index, words);
    return decodeHwWords(index, words);
  }
  HashEntryPtr decodeHwWords(HwIndex, const U32* words) const override {
    auto e = Fen::makePtr<Entry>();
    decodeEntry(words, *e);
    return e;
  }
};

}  // namespace TarnSwitchTable
