// Cuckoo engine: placement is optimal (an insert fails exactly when no placement of all items
// exists, decided by maximum matching), moves are hitless (after every queued command each item
// installed before the insert is still present at one of its locations), a failed insert changes
// nothing, and the queue, the edit command and the way range behave as their callers expect.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "Fen/Exception.h"
#include "Keel/Cuckoo.h"
#include "support/Chip.h"
#include "support/MaxMatching.h"

namespace {

using namespace Keel::Cuckoo;
using Fen::U32;
using Fen::U8;

// An item whose bucket in each way is given outright.
class TestItem : public HashItem {
 public:
  TestItem(U32 k, std::vector<U32> h) : key(k), hash(std::move(h)) {}
  bool isEqual(const Fen::Ptr<const HashItem>& other) const override {
    return static_cast<const TestItem&>(*other).key == key;
  }
  U32 getHash(U8 way) const override { return hash.at(way); }
  std::string toStrep() const override { return "item " + std::to_string(key); }
  U32 key;
  std::vector<U32> hash;
};

Fen::Ptr<const TestItem> item(U32 key, std::vector<U32> hash) {
  return Fen::makePtr<TestItem>(key, std::move(hash));
}
U32 keyOf(const HashItemConstPtr& p) {
  return p ? static_cast<const TestItem&>(*p).key : ~0u;
}

struct Geometry {
  U32 ways, buckets, entries;
};

struct Engine {
  explicit Engine(Geometry g) : geo(g) {
    auto config = configFactory("TarnHashBase", U8(g.ways));
    for (U32 w = 0; w < g.ways; ++w) config->tableDescListIs(TableId(w), g.buckets, U8(g.entries));
    status = statusFactory("TarnHashBase");
    table = HashTable::HashTableIs(config, status);
  }
  U32 slot(const CuckooLocation& l) const {
    return (l.tableId.value() * geo.buckets + l.bucket) * geo.entries + l.entry;
  }
  std::vector<unsigned> candidates(const TestItem& it) const {
    std::vector<unsigned> out;
    for (U32 w = 0; w < geo.ways; ++w)
      for (U32 e = 0; e < geo.entries; ++e) out.push_back(slot(CuckooLocation(w, it.hash[w], e)));
    return out;
  }
  std::vector<U32> contents() const {  // the key at each slot
    std::vector<U32> out;
    for (U32 w = 0; w < geo.ways; ++w)
      for (U32 b = 0; b < geo.buckets; ++b)
        for (U32 e = 0; e < geo.entries; ++e) out.push_back(keyOf(table->itemAt({w, b, e})));
    return out;
  }
  Geometry geo;
  Fen::Ptr<Status> status;
  Fen::Ptr<HashTable> table;
};

// Random inserts and deletes against a reference of the present items. The simulated hardware
// applies the queued commands one at a time; after each, every item installed before the insert
// must sit at one of its candidate locations (so the free end of a chain is written first and the
// new item's location last), and each command names the item it replaces.
TEST(CuckooPropertyTest, OptimalPlacementAndHitlessMovesAgainstMaximumMatching) {
  const Geometry geometries[] = {{2, 8, 1}, {3, 4, 1}, {2, 4, 2}, {4, 3, 1}};
  for (const Geometry& g : geometries) {
    const unsigned seed = 20261122 + g.ways * 100 + g.buckets;
    SCOPED_TRACE("seed " + std::to_string(seed) + " geometry " + std::to_string(g.ways) + "x" +
                 std::to_string(g.buckets) + "x" + std::to_string(g.entries));
    std::mt19937 rng(seed);
    Engine eng(g);
    std::map<U32, Fen::Ptr<const TestItem>> present;
    std::vector<U32> hw(eng.table->locationCount(), ~0u);
    // Each key keeps its buckets, so a key refused earlier comes back with the same buckets
    // after the table changed (the engine must not answer from its earlier search).
    std::vector<std::vector<U32>> buckets(48);
    for (auto& h : buckets) {
      for (U32 w = 0; w < g.ways; ++w) h.push_back(rng() % g.buckets);
    }
    unsigned failures = 0, moves = 0;
    for (int step = 0; step < 1500; ++step) {
      const U32 key = rng() % 48;
      SCOPED_TRACE("step " + std::to_string(step) + " key " + std::to_string(key));
      auto it = item(key, buckets[key]);
      const unsigned long long movesBefore = eng.table->moveCount();
      const bool del = present.count(key) == 1;
      bool changed = true;
      if (del) {
        if (rng() % 3 == 0) continue;
        ASSERT_TRUE(eng.table->deleteItem(present[key]));
        present.erase(key);
      } else {
        std::vector<std::vector<unsigned>> cands{eng.candidates(*it)};
        for (const auto& [k, p] : present) cands.push_back(eng.candidates(*p));
        changed = TarnTest::maxMatching(cands, eng.table->locationCount()) == cands.size();
        ASSERT_EQ(eng.table->insertable(it), changed);
        ASSERT_EQ(eng.table->insertItem(it), changed);
        failures += !changed;
      }
      const unsigned long long stepMoves = eng.table->moveCount() - movesBefore;
      moves += unsigned(stepMoves);
      EXPECT_EQ(eng.status->cmdCount(), changed ? stepMoves + 1 : 0);  // a failure queues nothing
      while (const Command* c = eng.status->cmdHead()) {
        ASSERT_EQ(keyOf(c->oldItem()), hw[eng.slot(c->location())]);  // what the row held
        hw[eng.slot(c->location())] = keyOf(c->item());
        eng.status->cmdHeadDel();
        for (const auto& [k, p] : present) {
          bool found = false;
          for (unsigned s : eng.candidates(*p)) found = found || hw[s] == k;
          ASSERT_TRUE(found) << "installed item " << k << " missing from hardware mid-command";
        }
      }
      if (changed && !del) present[key] = it;
      ASSERT_EQ(hw, eng.contents());
      ASSERT_EQ(eng.table->lookupItem(it, nullptr), present.count(key) == 1);
    }
    EXPECT_GT(failures, 10u) << "the sequence should run the table full";
    EXPECT_GT(moves, 10u) << "the sequence should need moves";
    EXPECT_EQ(eng.table->itemCount(), present.size());
  }
}

// The edit command places an item exactly where it is told, queues nothing and names the item it
// replaces; a location past a way's buckets or entries, way 10 and an eleventh way are refused.
TEST(CuckooTest, SetItemAtLocationPlacesExactlyThereWithoutACommand) {
  Engine eng({3, 8, 1});
  auto a = item(7, {1, 2, 3});
  EXPECT_FALSE(eng.table->setItemAtLocation(a, CuckooLocation(2, 3))->oldItem());
  EXPECT_EQ(eng.status->cmdCount(), 0u);
  CuckooLocation at;
  ASSERT_TRUE(eng.table->lookupItem(a, &at));
  EXPECT_EQ(at, CuckooLocation(2, 3));
  EXPECT_EQ(keyOf(eng.table->setItemAtLocation(item(8, {0, 0, 3}), at)->oldItem()), 7u);
  EXPECT_EQ(eng.table->itemCount(), 1u);
  const std::string way =
      "Keel::Cuckoo::TableId::value < Keel::Cuckoo::TableId::min or > Keel::Cuckoo::TableId::null "
      "not allowed";
  const std::string loc =
      "Keel::Cuckoo::CuckooLocation Value('Keel::Cuckoo::CuckooLocation', ** {'tableId': 1, ";
  const std::pair<std::function<void()>, std::string> refused[] = {
      {[&] { eng.table->setItemAtLocation(a, CuckooLocation(1, 8, 0)); },
       loc + "'bucket': 8, 'entry': 0}) lies outside the table"},
      {[&] { eng.table->setItemAtLocation(a, CuckooLocation(1, 7, 1)); },
       loc + "'bucket': 7, 'entry': 1}) lies outside the table"},
      {[] { TableId(10); }, way},
      {[] { HashTable::HashTableIs(configFactory("T", 11), statusFactory("T")); }, way}};
  for (const auto& [f, message] : refused)
    EXPECT_EQ(TarnTest::thrownMessage<Fen::RangeException>(f), message);
  EXPECT_EQ(TableId(9).value(), 9);
}

}  // namespace
