// The engines' costs against baselines that touch the simulated chip alone. Each benchmark times
// its path and its baseline in alternating batches and reports the median ratio of the pairs
// (counter `ratio`), so drifts of the machine weigh on both sides alike; bench/summary.sh holds
// each ratio to its limit:
// - a changed ARP entry (one write) against the bare store write of the same words;
// - an unchanged ARP entry (one read and compare) against finding the key in a hash map, reading
//   the row's words from the store and comparing them;
// - warm restarts of a full ARP table and of a half-full 3 x 8192 hashed table, with software
//   kept or empty, against reading every row and comparing it with an image of the table;
// - warm restarts of the eight hardware LPM tables of the default chip (/11 table full, stride
//   tables half full), against reading every row of each;
// - programming a stride table up to 90 % of its capacity (inserts with their moves) against
//   writing the rows it ends with; `entries_per_s` gives the rate.
// Traces stay off, as in production. Counters also give the heap allocations of the path per
// batch and the bytes each installed entry holds.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

#include "Fen/Collection.h"
#include "TarnSwitchTable/TarnTableArp.h"
#include "TarnSwitchTable/TarnTableLpmTables.h"
#include "support/TestTables.h"

// Heap allocations of the whole process so far (alloc_count.cpp).
std::uint64_t heapAllocationCount();

namespace {

using namespace TarnSwitchTable;
using ChipPtr = Fen::Ptr<TarnSwitchApi::HwTableCollection>;
using Clock = std::chrono::steady_clock;

ChipPtr defaultChip() {
  return Fen::makePtr<TarnSwitchApi::HwTableCollection>(*TarnSwitch::builtinProfile("default"));
}

double median(std::vector<double> v) {
  std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
  return v[v.size() / 2];
}

// One benchmark iteration: `prepare` (untimed), then `path` and `baseline` timed back to back.
// Reports the median ratio of the pairs, the median time per unit of each (`units` calls or rows
// a batch) and the heap allocations of `path` per batch.
template <class Prepare, class Path, class Baseline>
void paired(benchmark::State& state, double units, Prepare prepare, Path path, Baseline baseline) {
  std::vector<double> ratios, paths, baselines;
  std::uint64_t allocs = 0;
  for (auto _ : state) {
    state.PauseTiming();
    prepare();
    state.ResumeTiming();
    const std::uint64_t before = heapAllocationCount();
    const auto t0 = Clock::now();
    path();
    const auto t1 = Clock::now();
    allocs += heapAllocationCount() - before;
    baseline();
    const auto t2 = Clock::now();
    paths.push_back(std::chrono::duration<double>(t1 - t0).count());
    baselines.push_back(std::chrono::duration<double>(t2 - t1).count());
    ratios.push_back(paths.back() / baselines.back());
  }
  state.counters["ratio"] = median(ratios);
  state.counters["path_ns"] = median(paths) / units * 1e9;
  state.counters["baseline_ns"] = median(baselines) / units * 1e9;
  state.counters["allocs_per_batch"] = double(allocs) / double(state.iterations());
}

ArpResult arpResult(U64 mac, unsigned vlan) {
  return ArpResult(Lanx::EthAddr::fromU64(mac), vlan);
}

// A cold-started ARP table, keys every third row (all ports, most of the store touched), with the
// rows the store holds for them under result A and under result B; the keys end holding A.
struct ArpSetup {
  static constexpr std::size_t keyCount = 1024;
  ChipPtr chip = defaultChip();
  Fen::Ptr<ArpTable> arp = arpTableFactory("arp");
  HwTableConfig* hw = nullptr;
  std::vector<ArpKey> keys;
  const ArpResult a = arpResult(0x001122334455, 10), b = arpResult(0x66778899aabb, 20);
  std::vector<HwEntryConfig> imageA, imageB;

  ArpSetup() {
    TarnSwitchApi::startSwTable(*arp, chip, TarnSwitchApi::StartMode::cold);
    hw = arp->profileConvertor()->copies().front().table;
    for (HwIndex row = 0; keys.size() < keyCount; row += 3)
      keys.push_back(arp->profileConvertor()->keyFromHwIndex(row));
    imageB = image(b);
    imageA = image(a);
  }
  std::vector<HwEntryConfig> image(const ArpResult& r) {
    std::vector<HwEntryConfig> out;
    for (const ArpKey& k : keys) {
      arp->entryIs(k, r);
      out.push_back(*hw->storedEntry(arp->profileConvertor()->hwIndexFromKey(k)));
    }
    return out;
  }
};

// Every key changes (A to B, the next batch B to A): one write each; the baseline writes the
// same words to the same rows with the store's write of words.
void BM_ChangedEntry(benchmark::State& state) {
  ArpSetup s;
  bool toB = true;
  const U64 writes = s.chip->writeCount();
  paired(
      state, ArpSetup::keyCount, [] {},
      [&] {
        for (const ArpKey& k : s.keys) s.arp->entryIs(k, toB ? s.b : s.a);
      },
      [&] {
        for (const HwEntryConfig& row : toB ? s.imageB : s.imageA)
          s.hw->entryWordsIs(row.index(), row.dataArray(), 4);
        toB = !toB;
      });
  if (s.chip->writeCount() - writes != 2 * ArpSetup::keyCount * state.iterations())
    state.SkipWithError("a change did not write exactly once");
}

// Every key is set to the result it holds: one read and compare each, no write; the baseline
// finds the key in a hash map and compares the row the store holds with the expected words.
void BM_UnchangedEntry(benchmark::State& state) {
  ArpSetup s;
  Fen::KeyedCollection<ArpKey, U32> position;
  for (U32 i = 0; i < ArpSetup::keyCount; ++i) position.set(s.keys[i], i);
  const U64 writes = s.chip->writeCount();
  unsigned equal = 0;
  paired(
      state, ArpSetup::keyCount, [] {},
      [&] {
        for (const ArpKey& k : s.keys) s.arp->entryIs(k, s.a);
      },
      [&] {
        for (const ArpKey& k : s.keys) {
          const HwEntryConfig& want = s.imageA[*position.find(k)];
          const U32* held = s.hw->entryRef(want.index())->dataArray();
          const U32* w = want.dataArray();
          equal += held[0] == w[0] && held[1] == w[1] && held[2] == w[2] && held[3] == w[3];
        }
      });
  benchmark::DoNotOptimize(equal);
  if (s.chip->writeCount() != writes) state.SkipWithError("an unchanged entry was written");
}

// Reads every row of a hardware table and compares it with an image of the table.
struct Scan {
  const HwTableConfig& hw;
  std::vector<HwEntryConfig> image;
  explicit Scan(const HwTableConfig& table) : hw(table) {
    for (U64 row = hw.lower(); row <= hw.upper(); ++row)
      image.push_back(*hw.storedEntry(HwIndex(row)));
  }
  void operator()() const {
    unsigned equal = 0;
    HwEntryConfig held;
    for (const HwEntryConfig& want : image) {
      hw.entry(want.index(), held);
      equal += held == want ? 1 : 0;
    }
    benchmark::DoNotOptimize(equal);
  }
};

// Warm restarts over hardware that already matches (no row may be written), the new table made
// by `make` and, when `keep`, given the software entries of `full` before it starts.
template <class Table, class Make>
void warmRestarts(benchmark::State& state, const ChipPtr& chip, const Table& full, Make make,
                  bool keep) {
  const Scan scan(*full.profileConvertor()->copies().front().table);
  Fen::Ptr<Table> fresh;
  const U64 writes = chip->writeCount();
  paired(
      state, double(scan.image.size()),
      [&] {
        fresh = make();
        if (keep) full.entry().forEach([&](const auto& k, const auto& r) { fresh->entryIs(k, r); });
      },
      [&] { TarnSwitchApi::startSwTable(*fresh, chip, TarnSwitchApi::StartMode::warm); }, scan);
  if (chip->writeCount() != writes || fresh->entry().size() != full.entry().size())
    state.SkipWithError("a warm restart over matching hardware changed something");
}

// Every ARP row holds a distinct entry.
struct FullArp {
  ChipPtr chip = defaultChip();
  Fen::Ptr<ArpTable> arp = arpTableFactory("arp");
  FullArp() {
    TarnSwitchApi::startSwTable(*arp, chip, TarnSwitchApi::StartMode::cold);
    const U32 rows = arp->profileConvertor()->rowUpper() + 1;
    for (HwIndex row = 0; row < rows; ++row)
      arp->entryIs(arp->profileConvertor()->keyFromHwIndex(row),
                   arpResult(0x020000000000 + row, 1 + row % 4094));
  }
  static Fen::Ptr<ArpTable> make() { return arpTableFactory("arp"); }
};

void BM_DirectWarmRestartKept(benchmark::State& state) {
  FullArp s;
  warmRestarts(state, s.chip, *s.arp, FullArp::make, true);
  state.counters["bytes_per_entry"] = double(s.arp->entry().memoryBytes()) / s.arp->entry().size();
}
void BM_DirectWarmRestartEmpty(benchmark::State& state) {
  FullArp s;
  warmRestarts(state, s.chip, *s.arp, FullArp::make, false);
}

// Half of the 3 x 8192 locations of a hashed table hold an entry.
struct HalfHash {
  using Geometry = TarnTest::TestHash<3, 13, 1>;
  static constexpr U32 keys = 3 * 8192 / 2;
  ChipPtr chip = defaultChip();
  Fen::Ptr<Geometry::Table> table = make();
  HalfHash() {
    TarnSwitchApi::startSwTable(*table, chip, TarnSwitchApi::StartMode::cold);
    for (U32 k = 0; k < keys; ++k)
      table->entryIs(TarnTest::TestHashKey(k), TarnTest::TestHashResult(k));
  }
  static Fen::Ptr<Geometry::Table> make() { return Fen::makePtr<Geometry::Table>("hash"); }
  // Bytes held per installed entry: software entries, the table's own cuckoo entries and their
  // pool, and the cuckoo engine's locations.
  double bytesPerEntry() const {
    return double(table->entry().memoryBytes() + table->hashItem().memoryBytes() +
                  table->itemPoolBytes() + table->cuckooHashTable()->memoryBytes()) /
           keys;
  }
};

void BM_HashWarmRestartKept(benchmark::State& state) {
  HalfHash s;
  warmRestarts(state, s.chip, *s.table, HalfHash::make, true);
  state.counters["bytes_per_entry"] = s.bytesPerEntry();
}
void BM_HashWarmRestartEmpty(benchmark::State& state) {
  HalfHash s;
  warmRestarts(state, s.chip, *s.table, HalfHash::make, false);
}

// A result per n whose cells read back as written.
LpmResult lpmResult(U32 n) {
  LpmResult r;
  r.cellResultIs(n % 4, EntryCellResult(TarnSwitch::NexthopIndexes(n % 56, 0, U8(n)), 33));
  r.cpuTrap = n % 3 == 0;
  return r;
}

// Stride key n of a member: routing instance n % 4 over consecutive base-length blocks.
template <class T>
TarnSwitch::LpmKey strideKey(U32 n) {
  const U32 shift = T::Layout::Entry::ipv4DipShift;
  return TarnSwitch::LpmKey(U8(n % 4),
                            Lanx::Prefix(Lanx::Ip4Addr((n / 4) << shift), U8(32 - shift)));
}

// Fills a started stride table with keys in a scattered order until it holds `count` entries,
// skipping the keys the capacity query refuses; the keys placed, in order.
template <class T>
std::vector<TarnSwitch::LpmKey> fillStride(T& table, U32 count) {
  std::vector<TarnSwitch::LpmKey> placed;
  const U32 bits = std::min<U32>(32 - T::Layout::Entry::ipv4DipShift + 2, 24);
  const U32 span = 1u << bits;  // keys drawn from the first 2^bits, a power of two
  for (U32 n = 0; placed.size() < count && n < span; ++n) {
    const TarnSwitch::LpmKey k = strideKey<T>((n * 2654435761u) & (span - 1));
    if (!table.entryInsertable(k)) continue;
    table.entryIs(k, lpmResult(n));
    placed.push_back(k);
  }
  return placed;
}

// The eight hardware LPM tables of the default chip: every /11 row set, each stride table half
// full.
struct LpmTables {
  ChipPtr chip = defaultChip();
  Fen::Ptr<Lpm11Table> lpm11 = lpm11TableFactory("lpm");
  std::tuple<Fen::Ptr<Lpm14Table>, Fen::Ptr<Lpm17Table>, Fen::Ptr<Lpm20Table>, Fen::Ptr<Lpm23Table>,
             Fen::Ptr<Lpm26Table>, Fen::Ptr<Lpm29Table>, Fen::Ptr<Lpm32Table>>
      strides;
  U32 entries = 0;

  LpmTables() {
    TarnSwitchApi::startSwTable(*lpm11, chip, TarnSwitchApi::StartMode::cold);
    for (HwIndex row = 0; row <= Lpm11Layout::lastRow; ++row)
      lpm11->entryIs(Lpm11Layout::keyFromHwIndex(row),
                     Lpm11Result(lpmResult(row).cellResult(0), row % 2 == 0));
    std::apply([&](auto&... t) { (start(t), ...); }, strides);
  }
  template <class T>
  void start(Fen::Ptr<T>& t) {
    t = Fen::makePtr<T>("lpm");
    TarnSwitchApi::startSwTable(*t, chip, TarnSwitchApi::StartMode::cold);
    fillStride(*t, T::Layout::hashBuckets * T::Layout::hashWays / 2);
  }
  // New tables for a restart, given the software entries of these when `keep`.
  struct Fresh {
    Fen::Ptr<Lpm11Table> lpm11;
    decltype(LpmTables::strides) strides;
  };
  Fresh fresh(bool keep) const {
    Fresh f{refill(lpm11, keep), {}};
    f.strides =
        std::apply([&](const auto&... t) { return std::make_tuple(refill(t, keep)...); }, strides);
    return f;
  }
  template <class T>
  static Fen::Ptr<T> refill(const Fen::Ptr<T>& full, bool keep) {
    auto t = Fen::makePtr<T>("lpm");
    if (keep) full->entry().forEach([&](const auto& k, const auto& r) { t->entryIs(k, r); });
    return t;
  }
  // Starts the new tables warm on this chip; the entries they then hold.
  U32 restart(const Fresh& f) const {
    U32 held = warm(f.lpm11);
    std::apply([&](const auto&... t) { ((held += warm(t)), ...); }, f.strides);
    return held;
  }
  template <class T>
  U32 warm(const Fen::Ptr<T>& t) const {
    TarnSwitchApi::startSwTable(*t, chip, TarnSwitchApi::StartMode::warm);
    return U32(t->entry().size());
  }
  // Every copy of every table (the restart reads both mirrors).
  std::vector<Scan> scans() const {
    std::vector<Scan> out;
    auto add = [&](const auto& t) {
      for (const auto& c : t->profileConvertor()->copies()) out.emplace_back(*c.table);
    };
    add(lpm11);
    std::apply([&](const auto&... t) { (add(t), ...); }, strides);
    return out;
  }
  U32 entryCount() const {
    U32 n = U32(lpm11->entry().size());
    std::apply([&](const auto&... t) { ((n += U32(t->entry().size())), ...); }, strides);
    return n;
  }
};

void lpmWarmRestarts(benchmark::State& state, bool keep) {
  LpmTables s;
  const std::vector<Scan> scans = s.scans();
  double rows = 0;
  for (const Scan& scan : scans) rows += double(scan.image.size());
  const U64 writes = s.chip->writeCount();
  U32 held = 0;
  LpmTables::Fresh fresh;
  paired(
      state, rows, [&] { fresh = s.fresh(keep); }, [&] { held = s.restart(fresh); },
      [&] {
        for (const Scan& scan : scans) scan();
      });
  if (s.chip->writeCount() != writes || held != s.entryCount())
    state.SkipWithError("a warm restart over matching hardware changed something");
}
void BM_LpmWarmRestartKept(benchmark::State& state) {
  lpmWarmRestarts(state, true);
}
void BM_LpmWarmRestartEmpty(benchmark::State& state) {
  lpmWarmRestarts(state, false);
}

// A stride table programmed from empty to 90 % of its locations (the keys the capacity query
// accepted on a first fill, in the same order), against writing the rows that fill leaves.
template <class T>
void BM_LpmStrideProgramming(benchmark::State& state) {
  ChipPtr chip = defaultChip();
  auto first = Fen::makePtr<T>("lpm");
  TarnSwitchApi::startSwTable(*first, chip, TarnSwitchApi::StartMode::cold);
  const U32 target = T::Layout::hashBuckets * T::Layout::hashWays * 9 / 10;
  const std::vector<TarnSwitch::LpmKey> keys = fillStride(*first, target);
  HwTableConfig& hw = *first->profileConvertor()->copies().front().table;
  std::vector<HwEntryConfig> rows;  // the row of each key where the fill left it
  for (const auto& k : keys) {
    CuckooLocation at;
    first->cuckooHashTable()->lookupItem(Fen::PtrConst<Keel::Cuckoo::HashItem>(first->ownItem(k)),
                                         &at);
    rows.push_back(*hw.storedEntry(first->profileConvertor()->hwIndex(at)));
  }
  Fen::Ptr<T> table;
  unsigned long long moves = 0;
  paired(
      state, double(keys.size()),
      [&] {
        table = Fen::makePtr<T>("lpm");
        TarnSwitchApi::startSwTable(*table, chip, TarnSwitchApi::StartMode::cold);
      },
      [&] {
        for (const auto& k : keys) table->entryIs(k, *first->entry(k));
      },
      [&] {
        for (const HwEntryConfig& row : rows) hw.entryWordsIs(row.index(), row.dataArray(), 6);
      });
  moves = table->cuckooHashTable()->moveCount();
  if (keys.size() != target) state.SkipWithError("the capacity query refused a 90 % fill");
  state.counters["entries_per_s"] = 1e9 / state.counters["path_ns"];
  state.counters["moves_per_entry"] = double(moves) / double(keys.size());
}

}  // namespace

BENCHMARK(BM_ChangedEntry)->Iterations(400);
BENCHMARK(BM_UnchangedEntry)->Iterations(400);
BENCHMARK(BM_DirectWarmRestartKept)->Iterations(60)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DirectWarmRestartEmpty)->Iterations(60)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HashWarmRestartKept)->Iterations(30)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HashWarmRestartEmpty)->Iterations(30)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LpmWarmRestartKept)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LpmWarmRestartEmpty)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_LpmStrideProgramming, Lpm14Table)
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_LpmStrideProgramming, Lpm26Table)
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_LpmStrideProgramming, Lpm32Table)
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
