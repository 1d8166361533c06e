// Cuckoo engine capacity and cost on the geometries of the hashed tables (2 ways x 1024,
// 2 ways x 4096, 3 ways x 8192 buckets, one entry per bucket).
//
// Capacity: for seeded random key sequences, insert until the first failure and compare with the
// largest prefix of the same sequence that a maximum matching can place. A trial is optimal when
// the engine's first failure comes exactly where no placement exists.
// Cost: time per insert (median and 99th percentile) and moves per insert around 50 %, 80 % and
// 95 % of the measured capacity; lookup, delete and in-place update medians.
//
// Usage: cuckoo_bench [TRIALS]   (default 20 trials per geometry)
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "Keel/Cuckoo.h"
#include "TarnSwitch/CrcHash.h"
#include "support/MaxMatching.h"

namespace {

using namespace Keel::Cuckoo;
using Clock = std::chrono::steady_clock;
using Fen::U32;
using Fen::U8;

struct Geometry {
  const char* name;
  U32 ways, bits;
  U32 (*hash)(const U8*, U8, U32);
  U32 buckets() const { return 1u << bits; }
  U32 slots() const { return ways * buckets(); }
};

const Geometry geometries[] = {{"2x1024", 2, 10, TarnSwitch::crc10Hash},
                               {"2x4096", 2, 12, TarnSwitch::crc12Hash},
                               {"3x8192", 3, 13, TarnSwitch::crc13Hash}};

// A key whose buckets are computed once, as a table entry's hash would be.
class Key : public HashItem {
 public:
  Key(U32 k, const Geometry& g) : key_(k) {
    const U8 bytes[4] = {U8(k >> 24), U8(k >> 16), U8(k >> 8), U8(k)};
    for (U32 w = 0; w < g.ways; ++w) hash_[w] = g.hash(bytes, U8(w), 32) & (g.buckets() - 1);
  }
  bool isEqual(const Fen::Ptr<const HashItem>& o) const override {
    return static_cast<const Key&>(*o).key_ == key_;
  }
  U32 getHash(U8 way) const override { return hash_[way]; }
  std::string toStrep() const override { return std::to_string(key_); }

 private:
  U32 key_;
  U32 hash_[3] = {};
};

std::vector<Fen::Ptr<const Key>> keySequence(const Geometry& g, unsigned seed, std::size_t n) {
  std::mt19937 rng(seed);
  std::unordered_set<U32> seen;
  std::vector<Fen::Ptr<const Key>> keys;
  while (keys.size() < n) {
    const U32 k = U32(rng());
    if (seen.insert(k).second) keys.push_back(Fen::makePtr<Key>(k, g));
  }
  return keys;
}

struct Table {
  explicit Table(const Geometry& g) {
    auto config = configFactory("TarnHashBase", U8(g.ways));
    for (U32 w = 0; w < g.ways; ++w) config->tableDescListIs(TableId(w), g.buckets(), 1);
    status = statusFactory("TarnHashBase");
    table = HashTable::HashTableIs(config, status);
  }
  void drain() {
    while (status->cmdHead()) status->cmdHeadDel();
  }
  Fen::Ptr<Status> status;
  Fen::Ptr<HashTable> table;
};

// The largest n such that the first n keys can all be placed (maximum matching, binary search
// from a known placeable length).
std::size_t matchingBound(const Geometry& g, const std::vector<Fen::Ptr<const Key>>& keys,
                          std::size_t placeable) {
  auto fits = [&](std::size_t n) {
    std::vector<std::vector<unsigned>> cands(n);
    for (std::size_t i = 0; i < n; ++i)
      for (U32 w = 0; w < g.ways; ++w)
        cands[i].push_back(w * g.buckets() + keys[i]->getHash(U8(w)));
    return TarnTest::maxMatching(cands, g.slots()) == n;
  };
  std::size_t lo = placeable, hi = std::min<std::size_t>(keys.size(), g.slots()) + 1;
  while (hi - lo > 1) {
    const std::size_t mid = lo + (hi - lo) / 2;
    (fits(mid) ? lo : hi) = mid;
  }
  return lo;
}

struct CapacityResult {
  unsigned trials = 0, optimal = 0;
  double minRatio = 1.0, meanPlaced = 0;
  std::size_t firstPlaced = 0;  // items the first trial placed
};

unsigned trialSeed(const Geometry& g, unsigned t) {
  return 1000 * g.bits + t;
}

CapacityResult capacity(const Geometry& g, unsigned trials) {
  CapacityResult r;
  for (unsigned t = 0; t < trials; ++t) {
    const unsigned seed = trialSeed(g, t);
    auto keys = keySequence(g, seed, g.slots() + 1);
    Table tab(g);
    std::size_t placed = 0;
    while (placed < keys.size() && tab.table->insertItem(keys[placed])) {
      tab.drain();
      ++placed;
    }
    const std::size_t bound = matchingBound(g, keys, placed);
    const double ratio = double(placed) / double(bound);
    ++r.trials;
    r.optimal += placed == bound ? 1 : 0;
    r.minRatio = std::min(r.minRatio, ratio);
    r.meanPlaced += double(placed) / trials;
    if (t == 0) r.firstPlaced = placed;
    if (placed != bound)
      std::printf("  %s seed %u: placed %zu, bound %zu\n", g.name, seed, placed, bound);
  }
  std::printf("capacity %s: trials=%u optimal=%u min_ratio=%.3f mean_load=%.4f\n", g.name, r.trials,
              r.optimal, r.minRatio, r.meanPlaced / g.slots());
  return r;
}

double nanos(Clock::time_point a, Clock::time_point b) {
  return std::chrono::duration<double, std::nano>(b - a).count();
}
double percentile(std::vector<double> v, double p) {
  std::sort(v.begin(), v.end());
  return v[std::min(v.size() - 1, std::size_t(p * double(v.size())))];
}

// Replays the first capacity trial's sequence to each load level of the capacity it reached,
// timing the inserts of the last window before the level.
void cost(const Geometry& g, std::size_t capacityItems) {
  const double levels[] = {0.50, 0.80, 0.95};
  auto keys = keySequence(g, trialSeed(g, 0), capacityItems);
  Table tab(g);
  std::size_t next = 0;
  for (double level : levels) {
    const std::size_t target = std::size_t(level * double(capacityItems));
    const std::size_t window = std::max<std::size_t>(200, target / 50);
    std::vector<double> times;
    unsigned long long movesBefore = 0;
    for (; next < target; ++next) {
      const bool timed = next + window >= target;
      if (timed && times.empty()) movesBefore = tab.table->moveCount();
      const auto t0 = Clock::now();
      const bool ok = tab.table->insertItem(keys[next]);
      const auto t1 = Clock::now();
      if (!ok) std::abort();
      tab.drain();
      if (timed) times.push_back(nanos(t0, t1));
    }
    std::printf("insert %s at %2.0f%%: median=%.0f ns p99=%.0f ns moves/insert=%.3f\n", g.name,
                level * 100, percentile(times, 0.5), percentile(times, 0.99),
                double(tab.table->moveCount() - movesBefore) / double(times.size()));
  }
  // At 95 %: lookups, in-place updates and delete + re-insert of resident keys.
  std::vector<double> lookup, update, del;
  for (std::size_t i = 0; i < std::min<std::size_t>(next, 5000); ++i) {
    CuckooLocation at;
    auto t0 = Clock::now();
    const bool found = tab.table->lookupItem(keys[i], &at);
    auto t1 = Clock::now();
    const bool ok = tab.table->insertItem(keys[i]);
    auto t2 = Clock::now();
    tab.drain();
    auto t3 = Clock::now();
    const bool gone = tab.table->deleteItem(keys[i]);
    auto t4 = Clock::now();
    tab.drain();
    if (!found || !ok || !gone || !tab.table->insertItem(keys[i])) std::abort();
    tab.drain();
    lookup.push_back(nanos(t0, t1));
    update.push_back(nanos(t1, t2));
    del.push_back(nanos(t3, t4));
  }
  std::printf(
      "at 95%% %s: lookup median=%.0f ns, update in place median=%.0f ns, delete median=%.0f ns\n",
      g.name, percentile(lookup, 0.5), percentile(update, 0.5), percentile(del, 0.5));
}

}  // namespace

int main(int argc, char** argv) {
  const unsigned trials = argc > 1 ? unsigned(std::atoi(argv[1])) : 20;
  CapacityResult all;
  std::vector<std::size_t> capacities;
  for (const Geometry& g : geometries) {
    CapacityResult r = capacity(g, trials);
    all.trials += r.trials;
    all.optimal += r.optimal;
    all.minRatio = std::min(all.minRatio, r.minRatio);
    capacities.push_back(r.firstPlaced);
  }
  for (std::size_t i = 0; i < capacities.size(); ++i) cost(geometries[i], capacities[i]);
  std::printf("cuckoo-capacity: trials=%u optimal=%u min_ratio=%.3f\n", all.trials, all.optimal,
              all.minRatio);
  return all.optimal == all.trials ? 0 : 1;
}
