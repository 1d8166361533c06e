#include "TarnSwitchTable/TarnRouteProgrammer.h"

#include "Fen/Trace.h"

namespace TarnSwitchTable {

// One stride table as the programmer uses it, whatever its member class.
class StrideTableRef {
 public:
  virtual ~StrideTableRef() = default;
  virtual const LpmResult* entry(const TarnSwitch::LpmKey& k) const = 0;
  virtual void entryIs(const TarnSwitch::LpmKey& k, const LpmResult& r) = 0;
  virtual void entryDel(const TarnSwitch::LpmKey& k) = 0;
  virtual bool entryInsertable(const TarnSwitch::LpmKey& k) const = 0;
  virtual std::vector<TarnSwitch::LpmKey> keys() const = 0;
  virtual const char* tableName() const = 0;
  // The entries the table's hardware can hold at most.
  virtual std::size_t locationCount() const = 0;
};

namespace {

const Fen::TraceHandle trace("TarnRouteProgrammer");

constexpr const char* className = "TarnSwitchTable::RouteProgrammer";

// Routing instances above 3 raise "TarnSwitchTable::RouteProgrammer::vrfId > 3 not allowed",
// as the LPM tables do for their keys.
void refuseVrf(U8 vrfId) {
  lpmRefuseVrf(className, TarnSwitch::LpmKey(vrfId, Lanx::Prefix()));
}

template <class T>
class StrideTableOf final : public StrideTableRef {
 public:
  explicit StrideTableOf(Fen::Ptr<T> table) : table_(std::move(table)) {}
  const LpmResult* entry(const TarnSwitch::LpmKey& k) const override { return table_->entry(k); }
  void entryIs(const TarnSwitch::LpmKey& k, const LpmResult& r) override { table_->entryIs(k, r); }
  void entryDel(const TarnSwitch::LpmKey& k) override { table_->entryDel(k); }
  bool entryInsertable(const TarnSwitch::LpmKey& k) const override {
    return table_->entryInsertable(k);
  }
  std::vector<TarnSwitch::LpmKey> keys() const override { return table_->entry().keys(); }
  const char* tableName() const override { return table_->fwkType(); }
  std::size_t locationCount() const override {
    return std::size_t(T::Layout::hashBuckets) * T::Layout::hashWays;
  }

 private:
  Fen::Ptr<T> table_;
};

template <class T>
std::unique_ptr<StrideTableRef> strideRef(const Fen::Ptr<T>& table) {
  FEN_ASSERT(table);
  return std::make_unique<StrideTableOf<T>>(table);
}

// The top `len` bits of an address (0 for len 0), and the address cut to them.
constexpr U32 topBits(U32 address, U8 len) {
  return len == 0 ? 0 : address >> (32 - len);
}
constexpr U32 prefixMask(U8 len) {
  return len == 0 ? 0 : ~0u << (32 - len);
}

// The stride index of a length 12..32 (base 12 + 3 x stride).
constexpr unsigned strideOf(U8 len) {
  return (len - RouteProgrammer::firstStrideBase) / RouteProgrammer::strideWidth;
}
constexpr U8 strideBase(unsigned stride) {
  return U8(RouteProgrammer::firstStrideBase + RouteProgrammer::strideWidth * stride);
}
// The cell of an address in an entry of base b: the two address bits after b.
constexpr U8 cellOf(U32 address, U8 base) {
  return U8((address >> (30 - base)) & 3u);
}

TarnSwitch::LpmKey lpmKey(U8 vrfId, U32 address, U8 len) {
  return TarnSwitch::LpmKey(vrfId, Lanx::Prefix(Lanx::Ip4Addr(address & prefixMask(len)), len));
}

std::string routeText(U8 vrfId, const Lanx::Prefix& prefix) {
  return "vrfId " + std::to_string(vrfId) + " " + Fen::printText(prefix);
}

}  // namespace

RouteProgrammer::RouteProgrammer(const RouteTables& tables)
    : shortCell_(vrfCount * shortSlots),
      shortHas_(vrfCount * shortSlots, 0),
      winner_(vrfCount * keys11, noRoute) {
  bind(tables);
}

RouteProgrammer::~RouteProgrammer() = default;

void RouteProgrammer::bind(const RouteTables& t) {
  FEN_ASSERT(t.lpm11);
  lpm11_ = t.lpm11;
  stride_ = {strideRef(t.lpm14), strideRef(t.lpm17), strideRef(t.lpm20), strideRef(t.lpm23),
             strideRef(t.lpm26), strideRef(t.lpm29), strideRef(t.lpm32)};
  // Room for a block per stride entry the tables can hold, so adding routes never regrows it.
  std::size_t entries = 0;
  for (const auto& s : stride_) entries += s->locationCount();
  blocks_.reserve(entries);
}

void RouteProgrammer::refuse(U8 vrfId, const Lanx::Prefix& prefix,
                             const EntryCellResult& cell) const {
  refuseVrf(vrfId);
  if (cell == EntryCellResult()) {
    throw RouteRefusedException("route refused: " + routeText(vrfId, prefix) +
                                ": its cell is the default cell, which means no route");
  }
  if (cell.nexthopFault()) {
    throw RouteRefusedException("route refused: " + routeText(vrfId, prefix) + ": next hop " +
                                cell.nexthopIndexes.toStrep() +
                                " cannot be encoded (rewrite type 0, or 1 without an L3 LAG)");
  }
}

void RouteProgrammer::routeIs(U8 vrfId, const Lanx::Prefix& prefix, const EntryCellResult& cell) {
  FEN_TRACE(trace, 8,
            "void TarnSwitchTable::RouteProgrammer::routeIs(U8, const Lanx::Prefix&, "
            "const TarnSwitchTable::EntryCellResult&) "
                << unsigned(vrfId) << " " << Fen::printText(prefix) << " " << cell.toStrep());
  refuse(vrfId, prefix, cell);
  if (prefix.len() < firstStrideBase) {
    shortRouteIs(vrfId, prefix, cell);
  } else {
    strideRouteIs(vrfId, prefix, cell);
  }
}

EntryCellResult RouteProgrammer::routeDel(U8 vrfId, const Lanx::Prefix& prefix) {
  FEN_TRACE(trace, 8,
            "TarnSwitchTable::EntryCellResult TarnSwitchTable::RouteProgrammer::routeDel(U8, "
            "const Lanx::Prefix&) "
                << unsigned(vrfId) << " " << Fen::printText(prefix));
  refuseVrf(vrfId);
  return prefix.len() < firstStrideBase ? shortRouteDel(vrfId, prefix)
                                        : strideRouteDel(vrfId, prefix);
}

void RouteProgrammer::routeDelAll() {
  std::vector<std::pair<U8, Lanx::Prefix>> all;
  routeForEach(
      [&](U8 vrfId, const Lanx::Prefix& p, const EntryCellResult&) { all.emplace_back(vrfId, p); });
  for (const auto& [vrfId, p] : all) routeDel(vrfId, p);
}

const EntryCellResult* RouteProgrammer::route(U8 vrfId, const Lanx::Prefix& prefix) const {
  if (vrfId >= vrfCount) return nullptr;
  if (prefix.len() < firstStrideBase) {
    const U32 slot = shortSlot(vrfId, prefix.address().value(), prefix.len());
    return shortHas_[slot] ? &shortCell_[slot] : nullptr;
  }
  const StridePlace p = stridePlace(vrfId, prefix);
  const StrideBlock* b = blocks_.find(p.block);
  return b && (b->present >> p.slot & 1u) ? &b->slot[p.slot] : nullptr;
}

void RouteProgrammer::routeForEach(
    const std::function<void(U8, const Lanx::Prefix&, const EntryCellResult&)>& f) const {
  for (U8 vrfId = 0; vrfId < vrfCount; ++vrfId) {
    for (U8 len = 0; len < firstStrideBase; ++len) {
      for (U32 top = 0; top < (1u << len); ++top) {
        const U32 address = len == 0 ? 0 : top << (32 - len);
        const U32 slot = shortSlot(vrfId, address, len);
        if (shortHas_[slot]) f(vrfId, Lanx::Prefix(Lanx::Ip4Addr(address), len), shortCell_[slot]);
      }
    }
  }
  blocks_.forEach([&](U64 block, const StrideBlock& b) {
    const TarnSwitch::LpmKey key = strideKey(block);
    const U32 base = key.prefix.address().value();
    const U8 len = key.prefix.len();
    for (U8 slot = 0; slot < 7; ++slot) {
      if (!(b.present >> slot & 1u)) continue;
      const U8 extra = slot == 0 ? 0 : slot < 3 ? 1 : 2;
      const U32 bits = slot - ((1u << extra) - 1);  // the route's bits after the base
      const U32 address = extra == 0 ? base : base | bits << (32 - len - extra);
      f(key.vrfId, Lanx::Prefix(Lanx::Ip4Addr(address), U8(len + extra)), b.slot[slot]);
    }
  });
}

// --- Routes of length 0..11: the /11 keys under them ------------------------------------------

U32 RouteProgrammer::shortSlot(U8 vrfId, U32 address, U8 len) {
  return vrfId * shortSlots + ((1u << len) | topBits(address, len));
}

void RouteProgrammer::key11Is(U8 vrfId, U32 key11, U8 len) {
  const TarnSwitch::LpmKey key = lpmKey(vrfId, key11 << 21, 11);
  if (len == noRoute) {
    lpm11_->entryDel(key);
    return;
  }
  Lpm11Result r;
  r.cellResult = shortCell_[shortSlot(vrfId, key11 << 21, len)];
  lpm11_->entryIs(key, r);
}

void RouteProgrammer::shortRouteIs(U8 vrfId, const Lanx::Prefix& prefix,
                                   const EntryCellResult& cell) {
  const U32 address = prefix.address().value();
  const U8 len = prefix.len();
  const U32 slot = shortSlot(vrfId, address, len);
  routeCount_ += shortHas_[slot] ? 0 : 1;
  shortHas_[slot] = 1;
  shortCell_[slot] = cell;
  // The route wins every key under it that no longer route covers.
  const U32 first = topBits(address, 11);
  U8* winner = &winner_[vrfId * keys11];
  for (U32 k = first; k < first + (1u << (11 - len)); ++k) {
    if (winner[k] != noRoute && winner[k] > len) continue;
    winner[k] = len;
    key11Is(vrfId, k, len);
  }
}

EntryCellResult RouteProgrammer::shortRouteDel(U8 vrfId, const Lanx::Prefix& prefix) {
  const U32 address = prefix.address().value();
  const U8 len = prefix.len();
  const U32 slot = shortSlot(vrfId, address, len);
  if (!shortHas_[slot]) return EntryCellResult();
  const EntryCellResult removed = shortCell_[slot];
  shortHas_[slot] = 0;
  shortCell_[slot] = EntryCellResult();
  --routeCount_;
  // Where this route won, the longest shorter route covering it takes over: it covers the whole
  // prefix, so it is the same for every key under it.
  U8 next = noRoute;
  for (U8 l = len; l-- > 0 && next == noRoute;) {
    if (shortHas_[shortSlot(vrfId, address, l)]) next = l;
  }
  const U32 first = topBits(address, 11);
  U8* winner = &winner_[vrfId * keys11];
  for (U32 k = first; k < first + (1u << (11 - len)); ++k) {
    if (winner[k] != len) continue;
    winner[k] = next;
    key11Is(vrfId, k, next);
  }
  return removed;
}

// --- Routes of length 12..32: cells of stride entries -----------------------------------------

RouteProgrammer::StridePlace RouteProgrammer::stridePlace(U8 vrfId, const Lanx::Prefix& prefix) {
  const U32 address = prefix.address().value();
  const unsigned stride = strideOf(prefix.len());
  const U8 base = strideBase(stride);
  const U8 extra = U8(prefix.len() - base);
  const U32 bits = (address >> (32 - prefix.len())) & ((1u << extra) - 1);
  const U8 slot = U8(((1u << extra) - 1) + bits);
  const U64 block = (U64(vrfId) << 35) | (U64(stride) << 32) | (address & prefixMask(base));
  return StridePlace{stride, base, block, slot};
}

TarnSwitch::LpmKey RouteProgrammer::strideKey(U64 block) {
  return lpmKey(U8(block >> 35), U32(block), strideBase(unsigned(block >> 32) & 7u));
}

// Cell c takes the longest route covering it: two bits after the base (slot 3 + c), one bit
// (slot 1 + c / 2), the base itself (slot 0), or none.
LpmResult RouteProgrammer::compiled(const StrideBlock& b) {
  LpmResult r;
  for (U8 c = 0; c < LpmResult::cellCount; ++c) {
    for (U8 slot : {U8(3 + c), U8(1 + c / 2), U8(0)}) {
      if (b.present >> slot & 1u) {
        r.cellResultIs(c, b.slot[slot]);
        break;
      }
    }
  }
  return r;
}

// The stride table holds the entry, or can place it: the entry of a new block, or one removed
// from the table behind the programmer's back.
void RouteProgrammer::requirePlaceable(unsigned stride, const TarnSwitch::LpmKey& key, U8 vrfId,
                                       const Lanx::Prefix& prefix) const {
  if (stride_[stride]->entryInsertable(key)) return;
  throw RouteTableFullException("route table full: " + routeText(vrfId, prefix) +
                                " needs a new entry " + Fen::printText(key.prefix) + " in " +
                                stride_[stride]->tableName() +
                                ", and no placement of its entries holds it; nothing changed");
}

void RouteProgrammer::strideRouteIs(U8 vrfId, const Lanx::Prefix& prefix,
                                    const EntryCellResult& cell) {
  const StridePlace p = stridePlace(vrfId, prefix);
  const StrideBlock* held = blocks_.find(p.block);
  const TarnSwitch::LpmKey key = strideKey(p.block);
  requirePlaceable(p.stride, key, vrfId, prefix);
  StrideBlock b = held ? *held : StrideBlock();
  routeCount_ += (b.present >> p.slot & 1u) ? 0 : 1;
  b.present = U8(b.present | 1u << p.slot);
  b.slot[p.slot] = cell;
  blocks_.set(p.block, b);
  stride_[p.stride]->entryIs(key, compiled(b));
}

EntryCellResult RouteProgrammer::strideRouteDel(U8 vrfId, const Lanx::Prefix& prefix) {
  const StridePlace p = stridePlace(vrfId, prefix);
  const StrideBlock* held = blocks_.find(p.block);
  if (!held || !(held->present >> p.slot & 1u)) return EntryCellResult();
  const TarnSwitch::LpmKey key = strideKey(p.block);
  if (held->present != (1u << p.slot)) requirePlaceable(p.stride, key, vrfId, prefix);
  StrideBlock b = *held;
  const EntryCellResult removed = b.slot[p.slot];
  b.present = U8(b.present & ~(1u << p.slot));
  b.slot[p.slot] = EntryCellResult();
  --routeCount_;
  if (b.present == 0) {
    blocks_.del(p.block);
    stride_[p.stride]->entryDel(key);
  } else {
    blocks_.set(p.block, b);
    stride_[p.stride]->entryIs(key, compiled(b));
  }
  return removed;
}

// --- Lookup and rebinding -------------------------------------------------------------------

RouteLookup RouteProgrammer::lookup(U8 vrfId, Lanx::Ip4Addr address) const {
  refuseVrf(vrfId);
  const U32 a = address.value();
  RouteLookup out;
  for (unsigned s = strideCount; s-- > 0;) {
    const U8 base = strideBase(s);
    const TarnSwitch::LpmKey key = lpmKey(vrfId, a, base);
    const LpmResult* r = stride_[s]->entry(key);
    if (!r) continue;
    const U8 c = cellOf(a, base);
    if (r->cellResult(c) == EntryCellResult()) continue;
    out.cell = r->cellResult(c);
    out.baseLen = base;
    out.key = key;
    out.cellIndex = c;
    return out;
  }
  out.key = lpmKey(vrfId, a, 11);
  const Lpm11Result* r = lpm11_->entry(out.key);
  if (r) out.cell = r->cellResult;
  return out;
}

void RouteProgrammer::tablesIs(const RouteTables& tables) {
  bind(tables);
  reprogram();
}

void RouteProgrammer::reprogram() {
  // The /11 keys: each routed key holds its route's cell, every other key is removed.
  for (U8 vrfId = 0; vrfId < vrfCount; ++vrfId) {
    for (U32 k = 0; k < keys11; ++k) {
      const U8 len = winner_[vrfId * keys11 + k];
      if (len != noRoute) key11Is(vrfId, k, len);
    }
  }
  for (const TarnSwitch::LpmKey& key : lpm11_->entry().keys()) {
    const U32 k = key.prefix.address().value() >> 21;
    if (key.vrfId >= vrfCount || winner_[key.vrfId * keys11 + k] == noRoute) lpm11_->entryDel(key);
  }
  // The stride entries: stale ones go first, so that the entries of the routes find room.
  for (unsigned s = 0; s < strideCount; ++s) {
    for (const TarnSwitch::LpmKey& key : stride_[s]->keys()) {
      const U32 a = key.prefix.address().value();
      const U64 block = (U64(key.vrfId) << 35) | (U64(s) << 32) | a;
      if (key.vrfId >= vrfCount || !blocks_.has(block)) stride_[s]->entryDel(key);
    }
  }
  blocks_.forEach([&](U64 block, const StrideBlock& b) {
    const TarnSwitch::LpmKey key = strideKey(block);
    StrideTableRef& table = *stride_[unsigned(block >> 32) & 7u];
    if (!table.entryInsertable(key)) {
      throw RouteTableFullException("route table full: entry " + Fen::printText(key.prefix) +
                                    " of vrfId " + std::to_string(key.vrfId) + " in " +
                                    table.tableName() + " has no placement");
    }
    table.entryIs(key, compiled(b));
  });
}

}  // namespace TarnSwitchTable
