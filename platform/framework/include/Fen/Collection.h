#pragma once
// Keyed collection whose observers are told of every key that changed. Keys and values live
// inline, beside a tag of their hash, in one open-addressing hash table (power-of-two capacity,
// linear probing, deletion by backward shift, so no tombstones): a look-up is one hash and, at most
// three quarters full, usually one or two slot reads, and nothing allocates but growth. Key order
// is available, at the cost of a sort, for tools and tests.
#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Fen/Assert.h"
#include "Fen/Text.h"
#include "Fen/Types.h"
#include "Fen/Value.h"

namespace Fen {

template <class T, class = void>
struct IsRangedKey : std::false_type {};
template <class T>
struct IsRangedKey<T, std::void_t<typename T::RepType>> : std::true_type {};
// Types whose ValueTraits give their bits as one number (ValueTraits<T>::keyBits).
template <class T, class = void>
struct HasTraitsKeyBits : std::false_type {};
template <class T>
struct HasTraitsKeyBits<T, std::void_t<decltype(ValueTraits<T>::keyBits(std::declval<T>()))>>
    : std::true_type {};

// The bits of a key that its collection hashes: integers and ranged integers by value, types
// whose ValueTraits have keyBits by those, value types field by field, anything else through
// its ValueTraits hash. Cheap on purpose: a look-up pays for it every time.
template <class T>
U64 keyBits(const T& v) {
  if constexpr (std::is_integral_v<T>) {
    return static_cast<U64>(v);
  } else if constexpr (IsRangedKey<T>::value) {
    return static_cast<U64>(v.value());
  } else if constexpr (HasTraitsKeyBits<T>::value) {
    return ValueTraits<T>::keyBits(v);
  } else if constexpr (IsValue<T>::value) {
    // Fields that fit 64 bits together are packed side by side (no multiply on the way);
    // wider keys fold each field in.
    U64 h = 0;
    std::apply(
        [&](const auto&... f) {
          constexpr std::size_t bytes = (sizeof(v.*(f.member)) + ... + 0);
          if constexpr (bytes <= 8) {
            ((h = (h << (4 * sizeof(v.*(f.member))) << (4 * sizeof(v.*(f.member)))) |
                  keyBits(v.*(f.member))),
             ...);
          } else {
            ((h = (h ^ keyBits(v.*(f.member))) * 0x9E3779B97F4A7C15ull), ...);
          }
        },
        T::fenFields());
    return h;
  } else {
    return ValueTraits<T>::hash(0, v);
  }
}

// Hash of a key for KeyedCollection; specialise it for other key types. The collection spreads
// the result over its buckets itself, so it need not be well mixed.
template <class K>
struct KeyHash {
  U32 operator()(const K& k) const {
    const U64 bits = keyBits(k);
    return U32(bits ^ (bits >> 32));
  }
};

// K and V are small default-constructible, copyable value types; K has == and <, V has ==.
template <class K, class V>
class KeyedCollection {
 public:
  using Observer = std::function<void(const K& changedKey)>;

  // Stores v under k; returns false (and changes nothing) when k already held an equal value.
  bool set(const K& k, const V& v) {
    const U32 tag = tagOf(k);
    if (slots_.empty()) return insert(tag, k, v);
    const std::size_t i = probe(k, tag);
    if (slots_[i].tag == 0) return insert(tag, k, v);
    if (slots_[i].value == v) return false;
    slots_[i].value = v;
    return true;
  }

  // Removes k; returns false when it was absent.
  bool del(const K& k) {
    if (size_ == 0) return false;
    const std::size_t i = probe(k, tagOf(k));
    if (slots_[i].tag == 0) return false;
    closeHole(i);
    --size_;
    return true;
  }

  // The value under k, or nullptr. Valid until the next set, del, clear or reserve.
  const V* find(const K& k) const {
    if (size_ == 0) return nullptr;
    const std::size_t i = probe(k, tagOf(k));
    return slots_[i].tag != 0 ? &slots_[i].value : nullptr;
  }
  bool has(const K& k) const { return find(k) != nullptr; }
  std::size_t size() const { return size_; }

  // Removes every key and notifies nobody; the storage is kept for reuse.
  void clear() {
    std::fill(slots_.begin(), slots_.end(), Slot());
    size_ = 0;
  }
  // Makes room for n keys, so that storing up to n keys allocates nothing.
  void reserve(std::size_t n) {
    std::size_t capacity = minCapacity;
    while (n * 4 > capacity * 3) capacity *= 2;
    if (capacity > slots_.size()) rehash(capacity);
  }

  // Calls f(key, value) for every entry in storage order (fast, in no particular order).
  // f must not change the collection.
  template <class F>
  void forEach(F&& f) const {
    for (const Slot& slot : slots_) {
      if (slot.tag != 0) f(slot.key, slot.value);
    }
  }
  // Calls f(key, value) for every entry in key order. f must not change the collection.
  template <class F>
  void forEachOrdered(F&& f) const {
    for (const Slot* s : ordered()) f(s->key, s->value);
  }
  std::vector<K> keys() const {
    std::vector<K> out;
    out.reserve(size_);
    forEachOrdered([&](const K& k, const V&) { out.push_back(k); });
    return out;
  }
  std::map<K, V> map() const {
    std::map<K, V> out;
    forEachOrdered([&](const K& k, const V& v) { out.emplace_hint(out.end(), k, v); });
    return out;
  }
  // Heap bytes held by the slots.
  std::size_t memoryBytes() const { return slots_.capacity() * sizeof(Slot); }

  void observerIs(Observer o) { observers_.push_back(std::move(o)); }
  // Tells every observer of k, in the order they were added.
  void notify(const K& k) const {
    if (observers_.empty()) return;
    for (const auto& o : observers_) o(k);
  }

 private:
  // A slot: the tag of the key it holds (0 when empty) beside the key and value, so a probe
  // reads one place.
  struct Slot {
    U32 tag = 0;
    K key{};
    V value{};
  };
  static constexpr std::size_t minCapacity = 8;

  // The key's hash spread by a multiplicative mix; its top bits choose the home slot. Bit 0 is
  // forced on, so a tag is never 0, which marks an empty slot.
  static U32 tagOf(const K& k) { return (KeyHash<K>()(k) * 0x9E3779B1u) | 1u; }
  std::size_t home(U32 tag) const { return tag >> shift_; }
  // The slot holding k, or the empty slot where its probe run ends. At least a quarter of the
  // slots are empty, so the run ends.
  std::size_t probe(const K& k, U32 tag) const {
    std::size_t i = home(tag);
    while (slots_[i].tag != 0 && !(slots_[i].tag == tag && slots_[i].key == k)) i = (i + 1) & mask_;
    return i;
  }
  // Adds a key that is absent, growing the table first when it would pass three quarters full.
  __attribute__((noinline)) bool insert(U32 tag, const K& k, const V& v) {
    Slot fresh{tag, k, v};  // copied first: k or v may live in the slots that growing frees
    if (slots_.empty() || (size_ + 1) * 4 > slots_.size() * 3)
      rehash(std::max(minCapacity, slots_.size() * 2));
    slots_[probe(fresh.key, tag)] = std::move(fresh);
    ++size_;
    return true;
  }
  // Empties slot `hole`, then moves each later member of its run that may live there (the hole
  // lies between its home and its slot) back into the hole, so every run stays unbroken.
  void closeHole(std::size_t hole) {
    for (std::size_t j = (hole + 1) & mask_; slots_[j].tag != 0; j = (j + 1) & mask_) {
      if (((j - home(slots_[j].tag)) & mask_) < ((j - hole) & mask_)) continue;
      slots_[hole] = std::move(slots_[j]);
      hole = j;
    }
    slots_[hole] = Slot();
  }
  // Moves every entry into `capacity` slots (a power of two, at least minCapacity).
  void rehash(std::size_t capacity) {
    FEN_ASSERT(capacity <= (std::size_t(1) << 31));
    std::vector<Slot> slots(capacity);
    slots.swap(slots_);
    mask_ = capacity - 1;
    for (shift_ = 32; capacity > 1; capacity /= 2) --shift_;
    for (Slot& slot : slots) {
      if (slot.tag == 0) continue;
      std::size_t j = home(slot.tag);
      while (slots_[j].tag != 0) j = (j + 1) & mask_;
      slots_[j] = std::move(slot);
    }
  }
  std::vector<const Slot*> ordered() const {
    std::vector<const Slot*> out;
    out.reserve(size_);
    for (const Slot& slot : slots_) {
      if (slot.tag != 0) out.push_back(&slot);
    }
    std::sort(out.begin(), out.end(), [](const Slot* a, const Slot* b) { return a->key < b->key; });
    return out;
  }

  std::vector<Slot> slots_;
  std::size_t size_ = 0;
  std::size_t mask_ = 0;
  unsigned shift_ = 32;
  std::vector<Observer> observers_;
};

}  // namespace Fen
