#pragma once
// Keyed collection in key order whose observers are told of every key that changed.
#include <functional>
#include <map>
#include <vector>

namespace Fen {

template <class K, class V>
class KeyedCollection {
 public:
  using Observer = std::function<void(const K& changedKey)>;
  using Map = std::map<K, V>;

  // Stores v under k; returns false (and notifies nobody) when k already held an equal value.
  bool set(const K& k, const V& v) {
    auto [it, inserted] = map_.try_emplace(k, v);
    if (!inserted) {
      if (it->second == v) return false;
      it->second = v;
    }
    return true;
  }
  // Removes k; returns false when it was absent.
  bool del(const K& k) { return map_.erase(k) != 0; }
  const V* find(const K& k) const {
    auto it = map_.find(k);
    return it == map_.end() ? nullptr : &it->second;
  }
  bool has(const K& k) const { return map_.count(k) != 0; }
  std::size_t size() const { return map_.size(); }
  const Map& map() const { return map_; }
  typename Map::const_iterator begin() const { return map_.begin(); }
  typename Map::const_iterator end() const { return map_.end(); }

  void observerIs(Observer o) { observers_.push_back(std::move(o)); }
  void notify(const K& k) const {
    for (const auto& o : observers_) o(k);
  }

 private:
  Map map_;
  std::vector<Observer> observers_;
};

}  // namespace Fen
