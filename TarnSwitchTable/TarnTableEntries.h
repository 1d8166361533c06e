#pragma once
// Software entries of a typed table, the same for every engine: the entries by key and the keys
// flagged inconsistent with hardware, both observable, and the calls that change them. A change
// is handed to the engine through the table's `programEntry(key, result)` (result nullptr when
// the key is absent). Whether an unchanged value (an equal result set again, an absent key
// deleted) is programmed too is the table's choice, `D::programsUnchanged`: programming it
// repairs a damaged row at the cost of one read and compare per copy.
#include <string>

#include "Fen/Collection.h"
#include "TarnSwitchTable/TarnTableAccess.h"

namespace TarnSwitchTable {

// D derives from this and supplies `programEntry(const Key&, const Result*)` and the constant
// `programsUnchanged`.
template <class D, class Key, class Result>
class TableEntries : public EntryAccessImpl<D, Key, Result> {
 public:
  const Fen::KeyedCollection<Key, Result>& entry() const { return entry_; }
  // Software's result for the key, or nullptr (valid until the next change of `entry`).
  const Result* entry(const Key& k) const { return entry_.find(k); }
  const Fen::KeyedCollection<Key, bool>& hwInconsistentEntry() const { return inconsistent_; }
  // Whether the key is recorded inconsistent with the value true.
  bool hwInconsistentEntry(const Key& k) const {
    const bool* v = inconsistent_.find(k);
    return v && *v;
  }

  // Stores the result and programs it; observers hear of a change.
  void entryIs(const Key& k, const Result& r) {
    const bool changed = entry_.set(k, r);
    if (changed || D::programsUnchanged) self().programEntry(k, &r);
    if (changed) entry_.notify(k);
  }
  // Removes the key and programs its removal; returns the removed result (the default when the
  // key was absent).
  Result entryDel(const Key& k) {
    const Result* held = entry_.find(k);
    const Result removed = held ? *held : Result();
    const bool had = entry_.del(k);
    if (had || D::programsUnchanged) self().programEntry(k, nullptr);
    if (had) entry_.notify(k);
    return removed;
  }
  void entryDelAll() {
    for (const Key& k : entry_.keys()) entryDel(k);
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
    for (const Key& k : inconsistent_.keys()) hwInconsistentEntryDel(k);
  }
  // Programs the key again: its stored result, or its removal when absent.
  void handleEntry(const Key& k) { self().programEntry(k, entry_.find(k)); }

 protected:
  Fen::KeyedCollection<Key, Result> entry_;
  Fen::KeyedCollection<Key, bool> inconsistent_;

 private:
  D& self() { return static_cast<D&>(*this); }
};

}  // namespace TarnSwitchTable
