#include "Keel/Cuckoo.h"

#include <algorithm>

#include "Fen/Assert.h"
#include "Fen/Exception.h"

namespace Keel::Cuckoo {

const std::string& TableIdTag::message() {
  static const std::string m = Fen::rangeMessageMinNull(name);
  return m;
}

void Config::tableDescListIs(TableId way, U32 buckets, U8 entries) {
  desc_[way.value()] = TableDesc{buckets, entries};
}

void Status::cmdHeadDel() {
  if (!head_) return;
  FEN_ASSERT(tail_ != nullptr);
  Fen::Ptr<Command> done = head_;
  head_ = done->next_;
  if (!head_) tail_ = nullptr;
  --count_;
  // Keep the node for the next command unless someone still holds it.
  done->item_ = nullptr;
  done->oldItem_ = nullptr;
  done->next_ = nullptr;
  if (done->references() == 1) {
    done->next_ = spare_;
    spare_ = done;
  }
}

void Status::cmdIs(const CuckooLocation& location, const HashItemConstPtr& item,
                   const HashItemConstPtr& oldItem) {
  Fen::Ptr<Command> cmd = spare_;
  if (cmd) {
    spare_ = cmd->next_;
    cmd->next_ = nullptr;
  } else {
    cmd = Fen::makePtr<Command>();
  }
  cmd->location_ = location;
  cmd->item_ = item;
  cmd->oldItem_ = oldItem;
  if (tail_) {
    tail_->next_ = cmd;
  } else {
    head_ = cmd;
  }
  tail_ = cmd.ptr();
  ++count_;
}

Fen::Ptr<Config> configFactory(const std::string& name, U8 ways) {
  return Fen::makePtr<Config>(name, ways);
}

Fen::Ptr<Status> statusFactory(const std::string& name) {
  return Fen::makePtr<Status>(name);
}

Fen::Ptr<HashTable> HashTable::HashTableIs(Fen::Ptr<Config> config, Fen::Ptr<Status> status) {
  return Fen::makePtr<HashTable>(std::move(config), std::move(status));
}

HashTable::HashTable(Fen::Ptr<Config> config, Fen::Ptr<Status> status)
    : config_(std::move(config)), status_(std::move(status)) {
  if (config_->ways() > maxWays) throw Fen::RangeException(TableIdTag::message());
  ways_ = config_->ways();
  for (U32 w = 0; w < ways_; ++w) {
    const Config::TableDesc& d = config_->tableDesc(TableId(w));
    FEN_ASSERT(d.buckets != 0 && d.entries != 0);
    wayBase_[w + 1] = wayBase_[w] + d.buckets * d.entries;
  }
  slots_.resize(wayBase_[ways_]);
  seen_.assign(slots_.size(), 0);
  parent_.assign(slots_.size(), noSlot);
  queue_.assign(slots_.size(), 0);
}

U32 HashTable::slotIndex(const CuckooLocation& location) const {
  const U32 way = location.tableId.value();
  if (way >= ways_)
    throw Fen::RangeException("Keel::Cuckoo::CuckooLocation::tableId::value " +
                              std::to_string(way) + " is not a way of the table");
  const Config::TableDesc& d = config_->tableDesc(location.tableId);
  if (location.bucket >= d.buckets || location.entry >= d.entries) {
    throw Fen::RangeException("Keel::Cuckoo::CuckooLocation " + location.toStrep() +
                              " lies outside the table");
  }
  return wayBase_[way] + location.bucket * d.entries + location.entry;
}

U32 HashTable::wayOf(U32 slot) const {
  U32 w = 0;
  while (slot >= wayBase_[w + 1]) ++w;
  return w;
}

CuckooLocation HashTable::locationOf(U32 slot) const {
  const U32 w = wayOf(slot);
  const U32 entries = config_->tableDesc(TableId(w)).entries;
  const U32 offset = slot - wayBase_[w];
  return CuckooLocation(TableId(w), offset / entries, offset % entries);
}

void HashTable::itemHashes(const HashItem& item, U32* hash) const {
  for (U32 w = 0; w < ways_; ++w) {
    hash[w] = item.getHash(U8(w));
    FEN_ASSERT(hash[w] < config_->tableDesc(TableId(w)).buckets);
  }
}

U32 HashTable::findSlot(const HashItemConstPtr& item, const U32* hash) const {
  for (U32 w = 0; w < ways_; ++w) {
    const U32 entries = config_->tableDesc(TableId(w)).entries;
    const U32 first = wayBase_[w] + hash[w] * entries;
    for (U32 s = first; s < first + entries; ++s) {
      // Equal items have equal buckets in every way: the recorded buckets rule most residents
      // out without reading the resident item itself.
      const Slot& resident = slots_[s];
      if (resident.item && std::equal(hash, hash + ways_, resident.hash) &&
          resident.item->isEqual(item))
        return s;
    }
  }
  return noSlot;
}

bool HashTable::lookupItem(const HashItemConstPtr& item, CuckooLocation* location) const {
  U32 hash[maxWays];
  itemHashes(*item, hash);
  return lookupItem(item, hash, location);
}

bool HashTable::lookupItem(const HashItemConstPtr& item, const U32* hash,
                           CuckooLocation* location) const {
  const U32 s = findSlot(item, hash);
  if (s == noSlot) return false;
  if (location) *location = locationOf(s);
  return true;
}

HashItemConstPtr HashTable::itemAt(const CuckooLocation& location) const {
  return slots_[slotIndex(location)].item;
}

const HashItem* HashTable::residentAt(const CuckooLocation& location) const {
  return slots_[slotIndex(location)].item.ptr();
}

// Marks `slot` reached from `from`; returns true when it is free (the search ends there),
// otherwise queues it for expansion.
bool HashTable::visit(U32 slot, U32 from, U32& tail) const {
  if (seen_[slot] == epoch_) return false;
  seen_[slot] = epoch_;
  parent_[slot] = from;
  if (!slots_[slot].item) return true;
  queue_[tail++] = slot;
  return false;
}

U32 HashTable::searchFreeSlot(const U32* hash) const {
  if (++epoch_ == 0) {
    std::fill(seen_.begin(), seen_.end(), 0);
    epoch_ = 1;
  }
  U32 head = 0, tail = 0;
  for (U32 w = 0; w < ways_; ++w) {
    const U32 entries = config_->tableDesc(TableId(w)).entries;
    const U32 first = wayBase_[w] + hash[w] * entries;
    for (U32 s = first; s < first + entries; ++s) {
      if (visit(s, noSlot, tail)) return s;
    }
  }
  while (head < tail) {
    const U32 from = queue_[head++];
    const U32 fromWay = wayOf(from);
    const Slot& resident = slots_[from];
    for (U32 w = 0; w < ways_; ++w) {
      if (w == fromWay) continue;
      const U32 entries = config_->tableDesc(TableId(w)).entries;
      const U32 first = wayBase_[w] + resident.hash[w] * entries;
      for (U32 s = first; s < first + entries; ++s) {
        if (visit(s, from, tail)) return s;
      }
    }
  }
  return noSlot;
}

U32 HashTable::freeSlotFor(const U32* hash) const {
  LastSearch& last = lastSearch_;
  if (last.changes == changes_ && std::equal(hash, hash + ways_, last.hash)) return last.slot;
  last.slot = searchFreeSlot(hash);
  last.changes = changes_;
  std::copy(hash, hash + ways_, last.hash);
  return last.slot;
}

bool HashTable::insertable(const HashItemConstPtr& item) const {
  U32 hash[maxWays];
  itemHashes(*item, hash);
  return findSlot(item, hash) != noSlot || freeSlotFor(hash) != noSlot;
}

void HashTable::place(U32 slot, const HashItemConstPtr& item, const U32* hash) {
  Slot& s = slots_[slot];
  ++changes_;
  HashItemConstPtr old = s.item;
  s.item = item;
  std::copy(hash, hash + ways_, s.hash);
  status_->cmdIs(locationOf(slot), item, old);
}

bool HashTable::insertItem(const HashItemConstPtr& item) {
  U32 hash[maxWays];
  itemHashes(*item, hash);
  return insertItem(item, hash);
}

bool HashTable::insertItem(const HashItemConstPtr& item, const U32* hash) {
  const U32 present = findSlot(item, hash);
  if (present != noSlot) {
    place(present, item, hash);
    return true;
  }
  U32 slot = freeSlotFor(hash);
  if (slot == noSlot) return false;
  // Walk back from the free end: each resident is copied into its new slot before the slot it
  // leaves is overwritten by the next one along the chain.
  for (U32 from = parent_[slot]; from != noSlot; slot = from, from = parent_[from]) {
    Slot moving = slots_[from];
    place(slot, moving.item, moving.hash);
    ++moveCount_;
  }
  place(slot, item, hash);
  ++itemCount_;
  return true;
}

bool HashTable::deleteItem(const HashItemConstPtr& item) {
  U32 hash[maxWays];
  itemHashes(*item, hash);
  const U32 s = findSlot(item, hash);
  if (s == noSlot) return false;
  HashItemConstPtr old = slots_[s].item;
  slots_[s].item = nullptr;
  ++changes_;
  status_->cmdIs(locationOf(s), nullptr, old);
  --itemCount_;
  return true;
}

Fen::Ptr<Command> HashTable::setItemAtLocation(const HashItemConstPtr& item,
                                               const CuckooLocation& location) {
  U32 hash[maxWays] = {};
  if (item) itemHashes(*item, hash);
  return setItemAtLocation(item, location, hash);
}

Fen::Ptr<Command> HashTable::setItemAtLocation(const HashItemConstPtr& item,
                                               const CuckooLocation& location, const U32* hash) {
  const U32 s = slotIndex(location);
  if (!edit_.unique()) edit_ = Fen::makePtr<Command>();
  edit_->location_ = location;
  edit_->item_ = item;
  edit_->oldItem_ = slots_[s].item;
  if (edit_->oldItem_) --itemCount_;
  if (item) ++itemCount_;
  ++changes_;
  slots_[s].item = item;
  std::copy(hash, hash + ways_, slots_[s].hash);
  return edit_;
}

}  // namespace Keel::Cuckoo
