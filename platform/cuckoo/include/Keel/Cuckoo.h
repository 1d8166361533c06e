#pragma once
// Cuckoo hash engine: places items in a multi-way hash table where an item may sit in one
// bucket of each way (the bucket of way w is the item's own hash for w). An insert that finds
// its candidate buckets full moves residents to their other candidates along the shortest chain
// that ends at a free location, found breadth-first over the whole table, so an insert succeeds
// whenever some placement of all items exists. Every location the engine changes is queued on
// the status as a command (the location and the item now there, or none) for the caller to
// program into hardware. The commands of one insert are queued so that each item already
// installed stays present at one of its locations after every single command: the free end of
// the chain is written first, the new item's location last. A failed insert changes nothing.
#include <string>
#include <vector>

#include "Fen/Ptr.h"
#include "Fen/Ranged.h"
#include "Fen/Value.h"

namespace Keel::Cuckoo {

using Fen::U32;
using Fen::U8;

// A way of the table: 0..9.
struct TableIdTag {
  static constexpr const char* name = "Keel::Cuckoo::TableId";
  static const std::string& message();
};
using TableId = Fen::Ranged<TableIdTag, U8, 0, 9>;
constexpr unsigned maxWays = 10;

// One location: a way, a bucket of that way and an entry of that bucket.
struct CuckooLocation : Fen::Value<CuckooLocation> {
  TableId tableId;
  U32 bucket = 0;
  U32 entry = 0;

  CuckooLocation() = default;
  CuckooLocation(TableId way, U32 b, U32 e = 0) : tableId(way), bucket(b), entry(e) {}

  static constexpr const char* fenTypeName = "Keel::Cuckoo::CuckooLocation";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("tableId", &CuckooLocation::tableId),
                           Fen::field("bucket", &CuckooLocation::bucket),
                           Fen::field("entry", &CuckooLocation::entry));
  }
};

// What the engine places: items say which bucket they hash to in each way and whether two
// items have the same key.
class HashItem : public Fen::PtrInterface {
 public:
  const char* fwkType() const override { return "Keel::Cuckoo::HashItem"; }
  virtual bool isEqual(const Fen::Ptr<const HashItem>& other) const = 0;
  virtual U32 getHash(U8 way) const = 0;
  virtual std::string toStrep() const = 0;
};
using HashItemConstPtr = Fen::Ptr<const HashItem>;

// Geometry and bookkeeping shared between the engine and its user.
class Config : public Fen::PtrInterface {
 public:
  struct TableDesc {
    U32 buckets = 0;
    U8 entries = 0;
  };

  Config(std::string name, U8 ways) : name_(std::move(name)), ways_(ways) {}
  const char* fwkType() const override { return "Keel::Cuckoo::Config"; }

  const std::string& name() const { return name_; }
  U8 ways() const { return ways_; }
  // Describes one way: its bucket count and entries per bucket.
  void tableDescListIs(TableId way, U32 buckets, U8 entries);
  const TableDesc& tableDesc(TableId way) const { return desc_[way.value()]; }
  // When set, the caller asks to review items of commands not yet acknowledged; this engine
  // applies every placement at once, so the flag is recorded only.
  void reviewPendingItemSupportIs(bool on) { reviewPendingItemSupport_ = on; }
  bool reviewPendingItemSupport() const { return reviewPendingItemSupport_; }
  // The caller acknowledges n commands it has consumed.
  void cmdReadCompletedInc(U32 n) { cmdReadCompleted_ += n; }
  U32 cmdReadCompleted() const { return cmdReadCompleted_; }

 private:
  std::string name_;
  U8 ways_;
  TableDesc desc_[maxWays];
  bool reviewPendingItemSupport_ = true;
  U32 cmdReadCompleted_ = 0;
};

// A change of one location: the item now there (null when emptied) and the one before it.
class Command : public Fen::PtrInterface {
 public:
  const char* fwkType() const override { return "Keel::Cuckoo::Command"; }
  const CuckooLocation& location() const { return location_; }
  const HashItemConstPtr& item() const { return item_; }
  const HashItemConstPtr& oldItem() const { return oldItem_; }

 private:
  friend class Status;
  friend class HashTable;
  CuckooLocation location_;
  HashItemConstPtr item_;
  HashItemConstPtr oldItem_;
  Fen::Ptr<Command> next_;
};

// The queue of commands the engine has produced and the caller has not yet consumed.
class Status : public Fen::PtrInterface {
 public:
  explicit Status(std::string name) : name_(std::move(name)) {}
  const char* fwkType() const override { return "Keel::Cuckoo::Status"; }

  const std::string& name() const { return name_; }
  // The oldest pending command, or nullptr when none is pending.
  const Command* cmdHead() const { return head_.ptr(); }
  U32 cmdCount() const { return count_; }
  // Removes the oldest command; its node is kept for reuse, so a steady stream of commands
  // allocates nothing.
  void cmdHeadDel();
  // Appends a command for `location` (used by the engine).
  void cmdIs(const CuckooLocation& location, const HashItemConstPtr& item,
             const HashItemConstPtr& oldItem);

 private:
  std::string name_;
  Fen::Ptr<Command> head_;
  Command* tail_ = nullptr;
  Fen::Ptr<Command> spare_;
  U32 count_ = 0;
};

Fen::Ptr<Config> configFactory(const std::string& name, U8 ways);
Fen::Ptr<Status> statusFactory(const std::string& name);

class HashTable : public Fen::PtrInterface {
 public:
  // A table over the ways the configuration describes; its commands go to `status`.
  static Fen::Ptr<HashTable> HashTableIs(Fen::Ptr<Config> config, Fen::Ptr<Status> status);
  HashTable(Fen::Ptr<Config> config, Fen::Ptr<Status> status);
  const char* fwkType() const override { return "Keel::Cuckoo::HashTable"; }

  // Places the item, moving residents when its buckets are full; false (and nothing changed)
  // when no placement of all items exists. An item already present is replaced in place.
  bool insertItem(const HashItemConstPtr& item);
  // The same with the item's bucket of every way already computed (itemHashes).
  bool insertItem(const HashItemConstPtr& item, const U32* hash);
  // Empties the item's location; false when the item is absent.
  bool deleteItem(const HashItemConstPtr& item);
  // Where the item is (one probe per way), or false.
  bool lookupItem(const HashItemConstPtr& item, CuckooLocation* location) const;
  // The same with the item's bucket of every way already computed (itemHashes).
  bool lookupItem(const HashItemConstPtr& item, const U32* hash, CuckooLocation* location) const;
  // The item's bucket in every way, into hash[0 .. ways-1].
  void itemHashes(const HashItem& item, U32* hash) const;
  // Whether insertItem would succeed now, without changing anything. The search is kept until
  // the table changes, so an insert of the same buckets right after it does not search again.
  bool insertable(const HashItemConstPtr& item) const;
  // Puts the item at exactly `location` without queueing anything (the location already holds
  // it in hardware); the returned command's oldItem() is the previous occupant.
  // The command object is reused from one call to the next unless the caller still holds it.
  Fen::Ptr<Command> setItemAtLocation(const HashItemConstPtr& item, const CuckooLocation& location);
  // The same with the item's buckets already computed (itemHashes).
  Fen::Ptr<Command> setItemAtLocation(const HashItemConstPtr& item, const CuckooLocation& location,
                                      const U32* hash);

  HashItemConstPtr itemAt(const CuckooLocation& location) const;
  // The item at the location without taking a reference; nullptr when free.
  const HashItem* residentAt(const CuckooLocation& location) const;
  U32 locationCount() const { return U32(slots_.size()); }
  // Heap bytes of the locations and of the search's scratch.
  std::size_t memoryBytes() const {
    return slots_.capacity() * sizeof(Slot) +
           (seen_.capacity() + parent_.capacity() + queue_.capacity()) * sizeof(U32);
  }
  U32 itemCount() const { return itemCount_; }
  // Residents moved by inserts since the table was made.
  unsigned long long moveCount() const { return moveCount_; }

 private:
  struct Slot {
    HashItemConstPtr item;
    U32 hash[maxWays];  // the resident's bucket in every way
  };
  static constexpr U32 noSlot = ~U32(0);

  U32 slotIndex(const CuckooLocation& location) const;
  CuckooLocation locationOf(U32 slot) const;
  U32 wayOf(U32 slot) const;
  U32 findSlot(const HashItemConstPtr& item, const U32* hash) const;
  // Breadth-first search from the item's candidates for the nearest free slot; fills parent_.
  U32 searchFreeSlot(const U32* hash) const;
  bool visit(U32 slot, U32 from, U32& tail) const;
  // searchFreeSlot, or the result of the last search when it was for the same buckets and the
  // table has not changed since (parent_ still holds its paths).
  U32 freeSlotFor(const U32* hash) const;
  void place(U32 slot, const HashItemConstPtr& item, const U32* hash);

  Fen::Ptr<Config> config_;
  Fen::Ptr<Status> status_;
  U32 ways_ = 0;
  U32 wayBase_[maxWays + 1] = {};
  std::vector<Slot> slots_;
  U32 itemCount_ = 0;
  unsigned long long moveCount_ = 0;
  // Search scratch, sized once to the table: visit marks by epoch, parents and the BFS queue.
  mutable std::vector<U32> seen_;
  mutable std::vector<U32> parent_;
  mutable std::vector<U32> queue_;
  mutable U32 epoch_ = 0;
  // The last search: its buckets, its result, and the table's change count when it ran.
  struct LastSearch {
    U32 hash[maxWays] = {};
    U32 slot = noSlot;
    unsigned long long changes = ~0ull;
  };
  mutable LastSearch lastSearch_;
  unsigned long long changes_ = 0;  // placements and removals since the table was made
  Fen::Ptr<Command> edit_;          // the command setItemAtLocation returns, reused
};

}  // namespace Keel::Cuckoo
