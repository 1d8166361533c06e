#pragma once
// Software entries of a typed table, the same for every engine: the entries by key and the keys
// flagged inconsistent with hardware, both observable, and the calls that change them. A change
// of an entry is handed to the engine through the table's `programEntry(key, result)` (result
// nullptr when the key is gone); an unchanged value never reaches it.
#include <string>

#include "Fen/Collection.h"
#include "Fen/Exception.h"
#include "TarnSwitchTable/TarnTableAccess.h"

namespace TarnSwitchTable {

// D derives from this and supplies `programEntry(const Key&, const Result*)` and
// `profileConvertor()` (whose `decodeHwRow(id, index)` returns an item).
template <class D, class Entry>
class TableEntries : public EntryAccessImpl<D, typename Entry::Key, typename Entry::Result> {
 public:
  using Key = typename Entry::Key;
  using Result = typename Entry::Result;

  const Fen::KeyedCollection<Key, Result>& entry() const { return entry_; }
  const Result* entry(const Key& k) const { return entry_.find(k); }
  const Fen::KeyedCollection<Key, bool>& hwInconsistentEntry() const { return inconsistent_; }
  bool hwInconsistentEntry(const Key& k) const { return inconsistent_.has(k); }

  // Stores the result and programs it; an equal value changes nothing.
  void entryIs(const Key& k, const Result& r) {
    if (!entry_.set(k, r)) return;
    self().programEntry(k, &r);
    entry_.notify(k);
  }
  // Removes the key and programs its removal; an absent key changes nothing.
  void entryDel(const Key& k) {
    if (!entry_.del(k)) return;
    self().programEntry(k, nullptr);
    entry_.notify(k);
  }
  // Each key is copied out of its node before the node is erased: entryDel still uses it.
  void entryDelAll() {
    while (entry_.size() != 0) entryDel(Key(entry_.begin()->first));
  }
  void entryObserverIs(typename Fen::KeyedCollection<Key, Result>::Observer o) {
    entry_.observerIs(std::move(o));
  }
  void hwInconsistentEntryIs(const Key& k, bool v) {
    if (inconsistent_.set(k, v)) inconsistent_.notify(k);
  }
  void hwInconsistentEntryDel(const Key& k) {
    if (inconsistent_.del(k)) inconsistent_.notify(k);
  }
  void hwInconsistentEntryDelAll() {
    while (inconsistent_.size() != 0) hwInconsistentEntryDel(Key(inconsistent_.begin()->first));
  }
  // Programs the key again: its stored result, or its removal when absent.
  void handleEntry(const Key& k) { self().programEntry(k, entry_.find(k)); }

  std::string decodeRowText(TarnSwitchApi::HwTableId id, TarnSwitchApi::HwIndex index) override {
    if (!self().profileConvertor())
      throw Fen::RangeException(self().name() + ": no chip connected");
    return self().profileConvertor()->decodeHwRow(id, index)->toStrep();
  }

 protected:
  // The reconcile hooks of both engines, on an item of this table's entry type.
  bool itemKeyHas(const Entry& e) const { return entry_.has(e.key); }
  bool itemEqual(const Entry& e) const {
    const Result* r = entry_.find(e.key);
    return r && *r == e.result;
  }
  // Overwrites the item's result with software's (the empty result when the key is absent).
  void itemResultLoad(Entry& e) const {
    const Result* r = entry_.find(e.key);
    e.result = r ? *r : Result();
  }

  Fen::KeyedCollection<Key, Result> entry_;
  Fen::KeyedCollection<Key, bool> inconsistent_;

 private:
  D& self() { return static_cast<D&>(*this); }
  const D& self() const { return static_cast<const D&>(*this); }
};

}  // namespace TarnSwitchTable
