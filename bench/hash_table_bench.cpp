// Hashed table write path on the simulated chip, with the engine's test table (3 ways x 8192
// buckets, the geometry of the multicast and widest stride tables) half full: a change of a
// placed key's result (one lookup, one write, no move, no allocation), a new key inserted and
// deleted again, and the reconcile of a warm restart. Traces stay off, as in production.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

#include "support/TestTables.h"

// Heap allocations of the whole process so far (alloc_count.cpp).
std::uint64_t heapAllocationCount();

namespace {

using Geometry = TarnTest::TestHash<3, 13, 1>;
using TarnTest::TestHashKey;
using TarnTest::TestHashResult;

struct HashSetup {
  Fen::Ptr<TarnSwitchApi::HwTableCollection> chip =
      Fen::makePtr<TarnSwitchApi::HwTableCollection>(*TarnSwitch::builtinProfile("default"));
  Fen::Ptr<Geometry::Table> table = Fen::makePtr<Geometry::Table>("hash");
  static constexpr Fen::U32 keys = 3 * 8192 / 2;

  HashSetup() {
    TarnSwitchApi::startSwTable(*table, chip, TarnSwitchApi::StartMode::cold);
    for (Fen::U32 k = 0; k < keys; ++k) table->entryIs(TestHashKey(k), TestHashResult(k));
  }
  void report(benchmark::State& state, Fen::U64 writes, std::uint64_t allocs) const {
    const double calls = double(state.iterations());
    state.counters["writes_per_call"] = double(chip->writeCount() - writes) / calls;
    state.counters["allocs_per_call"] =
        std::round(double(heapAllocationCount() - allocs) / calls * 1e3) / 1e3;
  }
};

void BM_HashEntryIsChanged(benchmark::State& state) {
  HashSetup s;
  Fen::U32 i = 0, round = 1;
  const Fen::U64 writes = s.chip->writeCount();
  const std::uint64_t allocs = heapAllocationCount();
  for (auto _ : state) {
    s.table->entryIs(TestHashKey(i), TestHashResult(i + round));
    if (++i == HashSetup::keys) i = 0, ++round;
  }
  s.report(state, writes, allocs);
  if (s.chip->writeCount() - writes != Fen::U64(state.iterations()))
    state.SkipWithError("a change of a placed key did not write exactly once");
}

void BM_HashInsertDelete(benchmark::State& state) {
  HashSetup s;
  Fen::U32 k = HashSetup::keys;
  const Fen::U64 writes = s.chip->writeCount();
  const std::uint64_t allocs = heapAllocationCount();
  for (auto _ : state) {
    s.table->entryIs(TestHashKey(k), TestHashResult(k));
    s.table->entryDel(TestHashKey(k));
    if (++k == 4 * HashSetup::keys) k = HashSetup::keys;
  }
  s.report(state, writes, allocs);
}

void BM_HashSyncEntries(benchmark::State& state) {
  HashSetup s;
  for (auto _ : state) {
    state.PauseTiming();
    auto fresh = Fen::makePtr<Geometry::Table>("hash");
    fresh->doSetProfileConvertor(Fen::makePtr<TarnSwitchApi::HwTableDescriptorConfig>(s.chip),
                                 s.chip);
    fresh->doCreateHwTable(TarnSwitchApi::TableState::init, false);
    const Fen::U64 writes = s.chip->writeCount();
    state.ResumeTiming();
    fresh->syncEntries();
    if (s.chip->writeCount() != writes || fresh->entry().size() != HashSetup::keys)
      state.SkipWithError("the reconcile of a consistent table changed something");
  }
  state.SetItemsProcessed(state.iterations() * 3 * 8192);
}

}  // namespace

BENCHMARK(BM_HashEntryIsChanged);
BENCHMARK(BM_HashInsertDelete);
BENCHMARK(BM_HashSyncEntries)->Unit(benchmark::kMicrosecond);
