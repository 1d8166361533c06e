// Cuckoo engine: placement is optimal (an insert fails exactly when no placement of all items
// exists, decided by maximum matching), moves are hitless (after every queued command each item
// installed before the insert is still present at one of its locations), a failed insert changes
// nothing, and the queue, the edit command and the way range behave as their callers expect.
#include <gtest/gtest.h>

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
  CuckooLocation location(U32 slot) const {
    return CuckooLocation(TableId(slot / (geo.buckets * geo.entries)),
                          slot / geo.entries % geo.buckets, slot % geo.entries);
  }
  std::vector<unsigned> candidates(const TestItem& it) const {
    std::vector<unsigned> out;
    for (U32 w = 0; w < geo.ways; ++w)
      for (U32 e = 0; e < geo.entries; ++e) out.push_back(slot(CuckooLocation(w, it.hash[w], e)));
    return out;
  }
  std::vector<U32> contents() const {
    std::vector<U32> out;
    for (U32 s = 0; s < table->locationCount(); ++s)
      out.push_back(keyOf(table->itemAt(location(s))));
    return out;
  }
  Geometry geo;
  Fen::Ptr<Status> status;
  Fen::Ptr<HashTable> table;
};

// Random inserts and deletes against a reference of the present items. The simulated hardware
// applies the queued commands one at a time; after each, every item installed before the insert
// must sit at one of its candidate locations.
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
    unsigned failures = 0, moves = 0;
    for (int step = 0; step < 1500; ++step) {
      const U32 key = rng() % 48;
      SCOPED_TRACE("step " + std::to_string(step) + " key " + std::to_string(key));
      if (present.count(key) && rng() % 3 != 0) {
        ASSERT_TRUE(eng.table->deleteItem(present[key]));
        present.erase(key);
        ASSERT_EQ(eng.status->cmdCount(), 1u);
        const Command* c = eng.status->cmdHead();
        EXPECT_FALSE(c->item());
        EXPECT_EQ(keyOf(c->oldItem()), key);
        hw[eng.slot(c->location())] = ~0u;
        eng.status->cmdHeadDel();
        EXPECT_FALSE(eng.table->lookupItem(item(key, std::vector<U32>(g.ways, 0)), nullptr));
        continue;
      }
      if (present.count(key)) continue;
      std::vector<U32> h;
      for (U32 w = 0; w < g.ways; ++w) h.push_back(rng() % g.buckets);
      auto it = item(key, h);
      std::vector<std::vector<unsigned>> cands;
      for (const auto& [k, p] : present) cands.push_back(eng.candidates(*p));
      cands.push_back(eng.candidates(*it));
      const bool placeable =
          TarnTest::maxMatching(cands, eng.table->locationCount()) == cands.size();
      const std::vector<U32> before = eng.contents();
      ASSERT_EQ(eng.table->insertable(it), placeable);
      const unsigned long long movesBefore = eng.table->moveCount();
      ASSERT_EQ(eng.table->insertItem(it), placeable);
      if (!placeable) {
        ++failures;
        EXPECT_EQ(eng.status->cmdCount(), 0u);
        EXPECT_EQ(eng.contents(), before);
        continue;
      }
      EXPECT_EQ(eng.status->cmdCount(), eng.table->moveCount() - movesBefore + 1);
      moves += unsigned(eng.table->moveCount() - movesBefore);
      while (const Command* c = eng.status->cmdHead()) {
        hw[eng.slot(c->location())] = keyOf(c->item());
        eng.status->cmdHeadDel();
        for (const auto& [k, p] : present) {
          bool found = false;
          for (unsigned s : eng.candidates(*p)) found = found || hw[s] == k;
          ASSERT_TRUE(found) << "installed item " << k << " missing from hardware mid-insert";
        }
      }
      present[key] = it;
      ASSERT_EQ(hw, eng.contents());
      CuckooLocation at;
      ASSERT_TRUE(eng.table->lookupItem(it, &at));
      EXPECT_EQ(at.bucket, h[at.tableId.value()]);
    }
    EXPECT_GT(failures, 10u) << "the sequence should run the table full";
    EXPECT_GT(moves, 10u) << "the sequence should need moves";
    EXPECT_EQ(eng.table->itemCount(), present.size());
  }
}

// A chain: a resident whose other bucket is free is moved there, and the commands come
// free end first: the moved item's new location, then the new item's.
TEST(CuckooTest, MovesQueueTheFreeEndFirstAndTheNewItemLast) {
  Engine eng({2, 4, 1});
  auto a = item(1, {0, 2});
  auto b = item(2, {0, 3});
  ASSERT_TRUE(eng.table->insertItem(a));  // way 0 bucket 0
  ASSERT_TRUE(eng.table->insertItem(b));  // way 1 bucket 3
  while (eng.status->cmdHead()) eng.status->cmdHeadDel();
  auto c = item(3, {0, 3});  // both buckets held: a must move to way 1 bucket 2
  ASSERT_TRUE(eng.table->insertItem(c));
  ASSERT_EQ(eng.status->cmdCount(), 2u);
  const Command* first = eng.status->cmdHead();
  EXPECT_EQ(first->location(), CuckooLocation(1, 2));
  EXPECT_EQ(keyOf(first->item()), 1u);
  EXPECT_FALSE(first->oldItem());
  eng.status->cmdHeadDel();
  EXPECT_EQ(eng.status->cmdHead()->location(), CuckooLocation(0, 0));
  EXPECT_EQ(keyOf(eng.status->cmdHead()->item()), 3u);
  EXPECT_EQ(keyOf(eng.status->cmdHead()->oldItem()), 1u);
  EXPECT_EQ(eng.table->moveCount(), 1u);
}

TEST(CuckooTest, SetItemAtLocationPlacesExactlyThereWithoutACommand) {
  Engine eng({3, 8, 1});
  auto a = item(7, {1, 2, 3});
  auto edit = eng.table->setItemAtLocation(a, CuckooLocation(2, 3));
  EXPECT_FALSE(edit->oldItem());
  EXPECT_EQ(eng.status->cmdCount(), 0u);
  CuckooLocation at;
  ASSERT_TRUE(eng.table->lookupItem(a, &at));
  EXPECT_EQ(at, CuckooLocation(2, 3));
  EXPECT_EQ(keyOf(eng.table->setItemAtLocation(item(8, {0, 0, 3}), at)->oldItem()), 7u);
  EXPECT_EQ(eng.table->itemCount(), 1u);
  EXPECT_EQ(TarnTest::thrownMessage<Fen::RangeException>(
                [&] { eng.table->setItemAtLocation(a, CuckooLocation(1, 8)); }),
            "Keel::Cuckoo::CuckooLocation Value('Keel::Cuckoo::CuckooLocation', ** {'tableId': 1, "
            "'bucket': 8, 'entry': 0}) lies outside the table");
}

TEST(CuckooTest, WayTenIsOutOfRange) {
  const std::string msg =
      "Keel::Cuckoo::TableId::value < Keel::Cuckoo::TableId::min or > Keel::Cuckoo::TableId::null "
      "not allowed";
  EXPECT_EQ(TarnTest::thrownMessage<Fen::RangeException>([] { TableId(10); }), msg);
  EXPECT_EQ(TableId(9).value(), 9);
  auto config = configFactory("TarnHashBase", 11);
  EXPECT_EQ(TarnTest::thrownMessage<Fen::RangeException>(
                [&] { HashTable::HashTableIs(config, statusFactory("TarnHashBase")); }),
            msg);
}

}  // namespace
