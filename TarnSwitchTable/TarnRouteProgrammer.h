#pragma once
// Route programmer: turns IPv4 routes (routing instance, prefix of any length 0..32, next-hop
// cell) into the entries of the longest-prefix-match tables, and answers which cell the compiled
// entries give for an address.
//
// Placement. A route of length 0..11 covers the /11 keys under it: the /11 table holds, per key,
// the cell of the longest such route. A route of length 12..32 lives in the stride table whose
// base b (12, 15, ..., 30) has b <= length <= b + 2: its entry is the prefix cut to b bits, and it
// covers the cells whose two address bits after b match the route (all four for length b, two
// for b + 1, one for b + 2); in each cell the longest of those routes wins. A cell no route covers
// holds the default cell, and an entry left with four default cells (or a /11 key left with no
// route) is deleted. Hardware answers an address from the stride tables of base 30 down to 12,
// the first non-default cell winning, else from its /11 key; since the bands of lengths do not
// overlap, that is the longest matching route. `cpuTrap` stays false.
//
// Changes are incremental: a route touches only the keys and cells it covers, and a table writes
// a row only when the entry changed. A route that needs a new stride entry first asks the stride
// table whether the entry can be placed; when it cannot, the call raises RouteTableFullException
// and nothing changes. The programmer owns the entries of the tables it is given.
#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Fen/Collection.h"
#include "Fen/Exception.h"
#include "Lanx/Prefix.h"
#include "TarnSwitch/LpmKey.h"
#include "TarnSwitchTable/TarnLpmSharedTypes.h"
#include "TarnSwitchTable/TarnTableLpm11.h"
#include "TarnSwitchTable/TarnTableLpmTables.h"

namespace TarnSwitchTable {

using Fen::U64;

// A route the programmer refuses; nothing changed.
class RouteRefusedException : public Fen::Exception {
 public:
  using Fen::Exception::Exception;
};

// A route that needs a new stride entry which its stride table cannot place; nothing changed.
class RouteTableFullException : public RouteRefusedException {
 public:
  using RouteRefusedException::RouteRefusedException;
};

// The tables a programmer writes: the /11 table and the seven stride tables, each started on
// the chip (a stride table not yet started has no room: every route that needs it is refused).
struct RouteTables {
  Fen::Ptr<Lpm11Table> lpm11;
  Fen::Ptr<Lpm14Table> lpm14;
  Fen::Ptr<Lpm17Table> lpm17;
  Fen::Ptr<Lpm20Table> lpm20;
  Fen::Ptr<Lpm23Table> lpm23;
  Fen::Ptr<Lpm26Table> lpm26;
  Fen::Ptr<Lpm29Table> lpm29;
  Fen::Ptr<Lpm32Table> lpm32;
};

// Where a lookup found its answer: the cell, the table that answered (its base length: 11 for
// the /11 table, else the stride table's), the entry's key and the cell's index (0 for /11).
struct RouteLookup {
  EntryCellResult cell;
  U8 baseLen = 11;
  TarnSwitch::LpmKey key;
  U8 cellIndex = 0;

  // Whether a route answered (the /11 default cell means no route).
  bool routed() const { return !(cell == EntryCellResult()); }
};

// One stride table as the programmer uses it (defined with the programmer).
class StrideTableRef;

class RouteProgrammer {
 public:
  static constexpr U8 vrfCount = 4;  // routing instances 0..3 reach hardware
  static constexpr unsigned strideCount = 7;
  static constexpr U8 firstStrideBase = 12;  // bases 12, 15, ..., 30
  static constexpr U8 strideWidth = 3;

  // Binds the tables, which hold no entries yet. Every table must be given: a missing one stops
  // the process (assertion "t.lpm11", or "table" for a stride table).
  explicit RouteProgrammer(const RouteTables& tables);
  ~RouteProgrammer();
  RouteProgrammer(const RouteProgrammer&) = delete;
  RouteProgrammer& operator=(const RouteProgrammer&) = delete;

  // Installs or replaces the route. Refused (RouteRefusedException, nothing changed): a cell
  // equal to the default cell (it would mean "no route"), a next hop no LPM table can encode
  // (a rewrite type other than 0 and 1, or rewrite type 1 with an L3 LAG index other than 56);
  // RouteTableFullException when it needs a new stride entry that cannot be placed. A vrfId
  // above 3 raises "TarnSwitchTable::RouteProgrammer::vrfId > 3 not allowed".
  void routeIs(U8 vrfId, const Lanx::Prefix& prefix, const EntryCellResult& cell);
  // Removes the route and returns its cell (the default cell when there was none); shorter
  // routes take over the keys and cells it won.
  EntryCellResult routeDel(U8 vrfId, const Lanx::Prefix& prefix);
  // Removes every route.
  void routeDelAll();
  // The route's cell, or nullptr.
  const EntryCellResult* route(U8 vrfId, const Lanx::Prefix& prefix) const;
  std::size_t routeCount() const { return routeCount_; }
  // Calls f(vrfId, prefix, cell) for every route, in no particular order.
  void routeForEach(
      const std::function<void(U8, const Lanx::Prefix&, const EntryCellResult&)>& f) const;

  // The cell the tables' software entries give for the address, read as hardware reads them.
  RouteLookup lookup(U8 vrfId, Lanx::Ip4Addr address) const;

  // Binds new tables (after an agent restart) and makes their entries those of the routes: an
  // entry already right is left alone, so over matching tables nothing is written. A compiled
  // entry the new stride table cannot place raises RouteTableFullException.
  void tablesIs(const RouteTables& tables);

 private:
  // The stride entry of a route of length 12..32: stride table, its key, and the slot of the
  // route inside the entry's block.
  struct StridePlace {
    unsigned stride;
    U8 base;
    U64 block;
    U8 slot;
  };
  // The routes of one stride entry: slot 0 holds the route of the base length, slots 1..2 those
  // one bit longer, 3..6 those two bits longer; bit i of `present` says slot i holds a route.
  struct StrideBlock {
    U8 present = 0;
    std::array<EntryCellResult, 7> slot{};
    friend bool operator==(const StrideBlock& a, const StrideBlock& b) {
      return a.present == b.present && a.slot == b.slot;
    }
  };
  static constexpr U8 noRoute = 0xFF;
  static constexpr U32 shortSlots = 1u << 12;  // slot (1 << len) | top len bits, len 0..11
  static constexpr U32 keys11 = 1u << 11;

  void bind(const RouteTables& tables);
  void shortRouteIs(U8 vrfId, const Lanx::Prefix& prefix, const EntryCellResult& cell);
  EntryCellResult shortRouteDel(U8 vrfId, const Lanx::Prefix& prefix);
  void strideRouteIs(U8 vrfId, const Lanx::Prefix& prefix, const EntryCellResult& cell);
  EntryCellResult strideRouteDel(U8 vrfId, const Lanx::Prefix& prefix);
  // Writes the /11 key `key11` of the routing instance: the cell of its route of length `len`,
  // or its removal when len is noRoute.
  void key11Is(U8 vrfId, U32 key11, U8 len);
  static StridePlace stridePlace(U8 vrfId, const Lanx::Prefix& prefix);
  static TarnSwitch::LpmKey strideKey(U64 block);
  static LpmResult compiled(const StrideBlock& b);
  static U32 shortSlot(U8 vrfId, U32 address, U8 len);
  void requirePlaceable(unsigned stride, const TarnSwitch::LpmKey& key, U8 vrfId,
                        const Lanx::Prefix& prefix) const;
  void refuse(U8 vrfId, const Lanx::Prefix& prefix, const EntryCellResult& cell) const;
  void reprogram();

  Fen::Ptr<Lpm11Table> lpm11_;
  std::array<std::unique_ptr<StrideTableRef>, strideCount> stride_;
  // Routes of length 0..11 by routing instance and slot, and per /11 key the length of the
  // longest of them covering it (noRoute when none does).
  std::vector<EntryCellResult> shortCell_;
  std::vector<U8> shortHas_;
  std::vector<U8> winner_;
  // Routes of length 12..32 by stride entry (routing instance, stride, address at the base).
  Fen::KeyedCollection<U64, StrideBlock> blocks_;
  std::size_t routeCount_ = 0;
};

}  // namespace TarnSwitchTable
