// Layer-3 tables' write path on the simulated "default" chip, traces off: a change of a placed
// source-group route (two copies), a route inserted and deleted again with the table half full,
// and a change of an L3 LAG row (four copies) and of a flood ARP row (24 copies, eight words).
// Each reports the rows written and the heap allocations per call (the write path allocates
// nothing) and stops with an error when a call writes another number of rows.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

#include "TarnSwitchTable/TarnTableL3FloodArp.h"
#include "TarnSwitchTable/TarnTableL3Lag.h"
#include "TarnSwitchTable/TarnTableSG.h"

// Heap allocations of the whole process so far (alloc_count.cpp).
std::uint64_t heapAllocationCount();

namespace {

using namespace TarnSwitchTable;
using Fen::U32;
using Fen::U64;

Fen::Ptr<TarnSwitchApi::HwTableCollection> defaultChip() {
  return Fen::makePtr<TarnSwitchApi::HwTableCollection>(*TarnSwitch::builtinProfile("default"));
}

TarnSwitch::MrouteKey route(U32 n) {
  return TarnSwitch::MrouteKey(Lanx::Ip4Addr(0x0A000000u + n), Lanx::Ip4Addr(0xE0000000u + n * 7u),
                               n % 4096);
}

// Runs `call(i)` per iteration and reports rows written and allocations per call; an error
// when the calls did not write `rows(calls)` rows.
template <class Rows, class Call>
void measure(benchmark::State& state, const Fen::Ptr<TarnSwitchApi::HwTableCollection>& chip,
             Rows rows, Call call) {
  const U64 writes = chip->writeCount();
  const std::uint64_t allocs = heapAllocationCount();
  U32 i = 0;
  for (auto _ : state) call(i++);
  const double calls = double(state.iterations());
  state.counters["writes_per_call"] = double(chip->writeCount() - writes) / calls;
  state.counters["allocs_per_call"] =
      std::round(double(heapAllocationCount() - allocs) / calls * 1e3) / 1e3;
  if (chip->writeCount() - writes != rows(U64(state.iterations())))
    state.SkipWithError("a call wrote another number of rows");
}

constexpr U32 halfFull = 3 * 8192 / 2;

void BM_SGEntryIsChanged(benchmark::State& state) {
  auto chip = defaultChip();
  auto table = sGTableFactory("sg");
  TarnSwitchApi::startSwTable(*table, chip, TarnSwitchApi::StartMode::cold);
  for (U32 k = 0; k < halfFull; ++k) table->entryIs(route(k), SGResult(1, {}));
  measure(
      state, chip, [](U64 n) { return 2 * n; },
      [&](U32 i) { table->entryIs(route(i % halfFull), SGResult(2 + i / halfFull % 8, {})); });
}

void BM_SGInsertDelete(benchmark::State& state) {
  auto chip = defaultChip();
  auto table = sGTableFactory("sg");
  TarnSwitchApi::startSwTable(*table, chip, TarnSwitchApi::StartMode::cold);
  for (U32 k = 0; k < halfFull; ++k) table->entryIs(route(k), SGResult(1, {}));
  const U64 moves = table->cuckooHashTable()->moveCount();
  auto& cuckoo = *table->cuckooHashTable();
  // Two copies: the insert and the delete write each, and so does every move.
  const auto rows = [&](U64 n) { return 4 * n + 2 * (cuckoo.moveCount() - moves); };
  measure(state, chip, rows, [&](U32 i) {
    const TarnSwitch::MrouteKey k = route(halfFull + i % halfFull);
    table->entryIs(k, SGResult(1, {}));
    table->entryDel(k);
  });
  state.counters["moves_per_call"] =
      double(cuckoo.moveCount() - moves) / double(state.iterations());
}

void BM_L3LagEntryIsChanged(benchmark::State& state) {
  auto chip = defaultChip();
  auto table = l3LagTableFactory("l3lag");
  TarnSwitchApi::startSwTable(*table, chip, TarnSwitchApi::StartMode::cold);
  measure(
      state, chip, [](U64 n) { return 4 * n; },
      [&](U32 i) {
        table->entryIs(TarnSwitch::L3LagIndex(i % 56),
                       L3LagResult(TarnSwitch::IngressPortMask(i + 1), i % 2));
      });
}

void BM_L3FloodArpEntryIsChanged(benchmark::State& state) {
  auto chip = defaultChip();
  auto table = l3FloodArpTableFactory("l3floodarp");
  TarnSwitchApi::startSwTable(*table, chip, TarnSwitchApi::StartMode::cold);
  measure(
      state, chip, [](U64 n) { return 24 * n; },
      [&](U32 i) {
        table->entryIs(TarnSwitch::L3FloodId(i % 128),
                       L3FloodArpResult(Lanx::EthAddr::fromU64(0x020000000000ull + i), i % 4095));
      });
}

}  // namespace

BENCHMARK(BM_SGEntryIsChanged);
BENCHMARK(BM_SGInsertDelete);
BENCHMARK(BM_L3LagEntryIsChanged);
BENCHMARK(BM_L3FloodArpEntryIsChanged);
