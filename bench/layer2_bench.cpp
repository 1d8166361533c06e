// The Layer-2 tables' write path on the simulated chip: a change of every port's LAG look-up
// value (written to every pipeline's copy and the CPU copy), a change of every VLAN's flood set
// (five words in each of five copies) and an unchanged value set again (one read and compare
// per copy). Counters give the rows written and the heap allocations per change: a change
// allocates nothing. Traces stay off, as in production.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "TarnSwitchTable/TarnTableFloodSet.h"
#include "TarnSwitchTable/TarnTableLagLookUp.h"

// Heap allocations of the whole process so far (alloc_count.cpp).
std::uint64_t heapAllocationCount();

namespace {

using namespace TarnSwitchTable;
using ChipPtr = Fen::Ptr<TarnSwitchApi::HwTableCollection>;

template <class T>
struct OnChip {
  OnChip()
      : chip(
            Fen::makePtr<TarnSwitchApi::HwTableCollection>(*TarnSwitch::builtinProfile("default"))),
        table(Fen::makePtr<T>("bench")) {
    TarnSwitchApi::startSwTable(*table, chip, TarnSwitchApi::StartMode::cold);
  }
  ChipPtr chip;
  Fen::Ptr<T> table;
};

// Runs `change(i, round)` for i in 0..count-1 per iteration; reports rows written and
// allocations per change.
template <class Change>
void perChange(benchmark::State& state, const ChipPtr& chip, unsigned count, Change change) {
  std::uint64_t round = 0, allocs = 0;
  for (unsigned i = 0; i < count; ++i) change(i, round);  // entries exist before timing
  ++round;
  const std::uint64_t writes = chip->writeCount();
  for (auto _ : state) {
    const std::uint64_t before = heapAllocationCount();
    for (unsigned i = 0; i < count; ++i) change(i, round);
    allocs += heapAllocationCount() - before;
    ++round;
  }
  const double changes = double(count) * double(state.iterations());
  state.SetItemsProcessed(std::int64_t(changes));
  state.counters["rows_per_change"] = double(chip->writeCount() - writes) / changes;
  state.counters["allocs_per_change"] = double(allocs) / changes;
}

void BM_LagLookUpChanged(benchmark::State& state) {
  OnChip<LagLookUpTable> s;
  perChange(state, s.chip, 48, [&](unsigned port, std::uint64_t round) {
    s.table->entryIs(LagLookUpKey(port), LagLookUpResult(U32(round & 1)));
  });
}

void BM_LagLookUpUnchanged(benchmark::State& state) {
  OnChip<LagLookUpTable> s;
  perChange(state, s.chip, 48, [&](unsigned port, std::uint64_t) {
    s.table->handleEntry(LagLookUpKey(port));  // programs the value hardware already holds
  });
}

void BM_FloodSetChanged(benchmark::State& state) {
  OnChip<FloodSetTable> s;
  perChange(state, s.chip, 4094, [&](unsigned i, std::uint64_t round) {
    const Bridging::VlanId vlan(i + 1);
    s.table->entryIs(FloodSetEntry(vlan, {(round & 1) ? 0xFFFFull : 0x3ull, 0x1ull}));
  });
}

}  // namespace

BENCHMARK(BM_LagLookUpChanged);
BENCHMARK(BM_LagLookUpUnchanged);
BENCHMARK(BM_FloodSetChanged)->Unit(benchmark::kMillisecond);
