#pragma once
// Software entries of a typed table, the same for every engine: the entries by key and the keys
// flagged inconsistent with hardware, both observable, and the calls that change them. A change
// is handed to the engine through the table's `programEntry(key, result)` (result nullptr when
// the key is absent). A layout may refuse keys (see KeyRules below). Whether an unchanged value (an
// equal result set again, an absent key deleted) is programmed too is the table's choice,
// `D::programsUnchanged`: programming it repairs a damaged row at the cost of one read and compare
// per copy.
#include <string>
#include <type_traits>

#include "Fen/Assert.h"
#include "Fen/Collection.h"
#include "TarnSwitchTable/TarnTableAccess.h"

namespace TarnSwitchTable {

// A layout's rules on the keys its table is given, both optional:
//   static void refuseKey(const Table&, const Key&);         raises the range exception for a key
//                                                            the hardware cannot hold apart
//   static const char* keyFault(const Table&, const Key&);   the broken condition of a key the
//                                                            table must never be given, or nullptr
//   static const char* resultFault(const Table&, const Result&);  the same for a result
template <class L, class = void>
struct HasRefuseKey : std::false_type {};
template <class L>
struct HasRefuseKey<L, std::void_t<decltype(&L::refuseKey)>> : std::true_type {};
template <class L, class = void>
struct HasResultFault : std::false_type {};
template <class L>
struct HasResultFault<L, std::void_t<decltype(&L::resultFault)>> : std::true_type {};
template <class L, class = void>
struct HasKeyFault : std::false_type {};
template <class L>
struct HasKeyFault<L, std::void_t<decltype(&L::keyFault)>> : std::true_type {};

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
    requireKey(k);
    const bool changed = entry_.set(k, r);
    if (changed || D::programsUnchanged) self().programEntry(k, &r);
    if (changed) entry_.notify(k);
  }
  // Removes the key and programs its removal; returns the removed result (the default when the
  // key was absent).
  Result entryDel(const Key& k) {
    requireKey(k);
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
  void handleEntry(const Key& k) {
    requireKey(k);
    self().programEntry(k, entry_.find(k));
  }

  // Raises the range exception for a key the table refuses; a key it must never be given
  // raises it too, with the broken condition (tools check their input with this).
  void keyCheck(const Key& k) const {
    refuseKey(k);
    if (const char* fault = keyFault(k)) {
      throw Fen::RangeException(std::string(fault) + " does not hold");
    }
  }
  void scratchKeyCheck() const override { keyCheck(this->scratchKeyValue()); }
  // Raises the range exception, with the broken condition, for a result the table must never be
  // given (storing it would stop the process).
  void scratchResultCheck() const override {
    if constexpr (HasResultFault<typename D::Layout>::value) {
      if (const char* fault = D::Layout::resultFault(table(), this->scratchResultValue()))
        throw Fen::RangeException(std::string(fault) + " does not hold");
    }
  }

 protected:
  Fen::KeyedCollection<Key, Result> entry_;
  Fen::KeyedCollection<Key, bool> inconsistent_;

 private:
  D& self() { return static_cast<D&>(*this); }
  // The concrete table (declared by the layout, complete only where this is used).
  const auto& table() const { return static_cast<const typename D::Layout::Table&>(*this); }

  void refuseKey(const Key& k) const {
    if constexpr (HasRefuseKey<typename D::Layout>::value) D::Layout::refuseKey(table(), k);
  }
  const char* keyFault(const Key& k) const {
    if constexpr (HasKeyFault<typename D::Layout>::value) return D::Layout::keyFault(table(), k);
    return nullptr;
  }
  // A refused key raises the range exception; a faulty one stops the process.
  void requireKey(const Key& k) const {
    refuseKey(k);
    if (const char* fault = keyFault(k)) {
      Fen::assertionFailed(fault, __FILE__, __LINE__, __PRETTY_FUNCTION__);
    }
  }
};

}  // namespace TarnSwitchTable
