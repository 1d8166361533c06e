// ARP table write path on the simulated "default" chip, beside baselines that touch the
// hardware store alone: the cost the library adds per row is the ratio of two medians
// (bench/run_arp_bench.sh prints it). Traces stay off, as in production.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "TarnSwitchTable/TarnTableArp.h"

using namespace TarnSwitchTable;

// Heap allocations of the whole process so far (alloc_count.cpp).
std::uint64_t heapAllocationCount();

namespace {

// Keys cycled by the per-entry benchmarks: every third row, so all 48 ports and most of the
// store are touched rather than one hot row.
constexpr std::size_t keyCount = 1024;
constexpr HwIndex keyStride = 3;

ArpResult resultA() {
  return ArpResult(Lanx::EthAddr::fromU64(0x001122334455), 10);
}
ArpResult resultB() {
  return ArpResult(Lanx::EthAddr::fromU64(0x66778899aabb), 20);
}

// A cold-started ARP table, its hardware table and the cycled keys with their rows.
struct ArpSetup {
  Fen::Ptr<TarnSwitchApi::HwTableCollection> chip =
      Fen::makePtr<TarnSwitchApi::HwTableCollection>(*TarnSwitch::builtinProfile("default"));
  Fen::Ptr<ArpTable> arp = arpTableFactory("arp");
  Fen::Ptr<HwTableConfig> hw;
  std::vector<ArpKey> keys;
  std::vector<HwIndex> rows;

  ArpSetup() {
    TarnSwitchApi::startSwTable(*arp, chip, TarnSwitchApi::StartMode::cold);
    hw = chip->hwTable(arp->hwTableName("Arp"));
    for (HwIndex row = 0; keys.size() < keyCount; row += keyStride) {
      keys.push_back(convertor().keyFromHwIndex(row));
      rows.push_back(row);
    }
  }
  ArpConvertor& convertor() const { return static_cast<ArpConvertor&>(*arp->profileConvertor()); }
  HwIndex rowCount() const { return hw->upper() - hw->lower() + 1; }

  // Sets every cycled key to `r` and returns the rows the store then holds, in key order.
  std::vector<HwEntryConfig> fill(const ArpResult& r) {
    std::vector<HwEntryConfig> stored;
    for (std::size_t i = 0; i < keyCount; ++i) {
      arp->entryIs(keys[i], r);
      stored.push_back(*hw->storedEntry(rows[i]));
    }
    return stored;
  }
  // Gives every row of the table a distinct valid entry; returns the stored rows.
  std::vector<HwEntryConfig> fillAll() {
    std::vector<HwEntryConfig> stored;
    for (HwIndex row = hw->lower(); row <= hw->upper(); ++row) {
      arp->entryIs(convertor().keyFromHwIndex(row),
                   ArpResult(Lanx::EthAddr::fromU64(0x020000000000 + row), 1 + row % 4094));
      stored.push_back(*hw->storedEntry(row));
    }
    return stored;
  }

  // Runs `call(i)` once per cycled key outside the timed loop and checks that each call writes
  // exactly `writes` rows and, the table being warm, allocates nothing; on a mismatch the
  // benchmark is skipped with an error.
  template <class Call>
  bool writesPerCallAre(benchmark::State& state, U64 writes, Call call) {
    for (std::size_t i = 0; i < keyCount; ++i) {
      U64 before = chip->writeCount();
      std::uint64_t allocsBefore = heapAllocationCount();
      call(i);
      if (heapAllocationCount() != allocsBefore) {
        state.SkipWithError("a warm call allocated heap memory");
        return false;
      }
      if (chip->writeCount() - before != writes) {
        state.SkipWithError("unexpected count of hardware writes per call");
        return false;
      }
    }
    return true;
  }
  // Snapshot of the write and allocation counts taken before the timed loop.
  struct Counts {
    U64 writes, allocs;
  };
  Counts counts() const { return {chip->writeCount(), heapAllocationCount()}; }
  // Hardware writes and heap allocations per timed call, excluding `untimedWrites` made while
  // timing was paused.
  void reportPerCall(benchmark::State& state, Counts before, U64 untimedWrites = 0) const {
    double calls = double(state.iterations());
    state.counters["writes_per_call"] =
        double(chip->writeCount() - before.writes - untimedWrites) / calls;
    // Rounded: the benchmark loop itself allocates about once per run.
    double allocs = double(heapAllocationCount() - before.allocs) / calls;
    state.counters["allocs_per_call"] = std::round(allocs * 1e4) / 1e4;
  }
};

void BM_ArpEntryIsChanged(benchmark::State& state) {
  ArpSetup s;
  s.fill(resultA());
  const ArpResult a = resultA(), b = resultB();
  // Check pass: every key goes from A to B with one write; the timed loop starts back at A.
  if (!s.writesPerCallAre(state, 1, [&](std::size_t i) { s.arp->entryIs(s.keys[i], b); })) return;
  const auto before = s.counts();
  std::size_t i = 0;
  bool toB = false;
  for (auto _ : state) {
    s.arp->entryIs(s.keys[i], toB ? b : a);
    if (++i == keyCount) i = 0, toB = !toB;
  }
  s.reportPerCall(state, before);
  state.SetItemsProcessed(state.iterations());
}

void BM_ArpEntryIsUnchanged(benchmark::State& state) {
  ArpSetup s;
  s.fill(resultA());
  const ArpResult a = resultA();
  if (!s.writesPerCallAre(state, 0, [&](std::size_t i) { s.arp->entryIs(s.keys[i], a); })) return;
  const auto before = s.counts();
  std::size_t i = 0;
  for (auto _ : state) {
    s.arp->entryIs(s.keys[i], a);
    if (++i == keyCount) i = 0;
  }
  s.reportPerCall(state, before);
  state.SetItemsProcessed(state.iterations());
}

void BM_ArpHandleEntryUnchanged(benchmark::State& state) {
  ArpSetup s;
  s.fill(resultA());
  if (!s.writesPerCallAre(state, 0, [&](std::size_t i) { s.arp->handleEntry(s.keys[i]); })) return;
  const auto before = s.counts();
  std::size_t i = 0;
  for (auto _ : state) {
    s.arp->handleEntry(s.keys[i]);
    if (++i == keyCount) i = 0;
  }
  s.reportPerCall(state, before);
  state.SetItemsProcessed(state.iterations());
}

void BM_ArpSyncEntries(benchmark::State& state) {
  ArpSetup s;
  s.fillAll();
  DirectBaseConvertor& convertor = s.convertor();
  U64 written = s.chip->writeCount();
  convertor.syncEntries();
  if (s.chip->writeCount() != written || s.arp->entry().size() != s.rowCount()) {
    state.SkipWithError("syncEntries of a consistent table changed something");
    return;
  }
  const auto before = s.counts();
  for (auto _ : state) convertor.syncEntries();
  s.reportPerCall(state, before);
  state.SetItemsProcessed(state.iterations() * s.rowCount());
}

// Every row holds a valid entry before each call, so every row is written, as on a used chip.
void BM_ArpColdStart(benchmark::State& state) {
  ArpSetup s;
  const std::vector<HwEntryConfig> image = s.fillAll();
  DirectBaseConvertor& convertor = s.convertor();
  U64 written = s.chip->writeCount();
  convertor.initHwEntries(true);
  if (s.chip->writeCount() - written != s.rowCount()) {
    state.SkipWithError("cold start did not write every row once");
    return;
  }
  const auto before = s.counts();
  for (auto _ : state) {
    state.PauseTiming();
    for (const HwEntryConfig& row : image) s.hw->entryIs(row);
    state.ResumeTiming();
    convertor.initHwEntries(true);
  }
  s.reportPerCall(state, before, state.iterations() * image.size());
  state.SetItemsProcessed(state.iterations() * s.rowCount());
}

// The store alone: write the four words BM_ArpEntryIsChanged writes, alternating encodings.
void BM_StoreWriteBaseline(benchmark::State& state) {
  ArpSetup s;
  const std::vector<HwEntryConfig> encB = s.fill(resultB());
  const std::vector<HwEntryConfig> encA = s.fill(resultA());
  HwTableConfig& hw = *s.hw;
  const auto before = s.counts();
  std::size_t i = 0;
  bool toB = true;
  for (auto _ : state) {
    hw.entryIs(toB ? encB[i] : encA[i]);
    if (++i == keyCount) i = 0, toB = !toB;
  }
  s.reportPerCall(state, before);
  state.SetItemsProcessed(state.iterations());
}

// The store alone: read a row and compare its four words with the expected encoding.
void BM_StoreReadCompareBaseline(benchmark::State& state) {
  ArpSetup s;
  const std::vector<HwEntryConfig> encA = s.fill(resultA());
  const HwTableConfig& hw = *s.hw;
  const auto before = s.counts();
  std::size_t i = 0;
  HwEntryConfig row;
  for (auto _ : state) {
    hw.entry(s.rows[i], row);
    const U32* got = row.dataArray();
    const U32* want = encA[i].dataArray();
    bool same = got[0] == want[0] && got[1] == want[1] && got[2] == want[2] && got[3] == want[3];
    benchmark::DoNotOptimize(same);
    if (++i == keyCount) i = 0;
  }
  s.reportPerCall(state, before);
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_ArpEntryIsChanged);
BENCHMARK(BM_ArpEntryIsUnchanged);
BENCHMARK(BM_ArpHandleEntryUnchanged);
BENCHMARK(BM_ArpSyncEntries)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ArpColdStart)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_StoreWriteBaseline);
BENCHMARK(BM_StoreReadCompareBaseline);
