#pragma once
// LPM front table: the routes' results the routing layer wants installed, per LPM key, and a
// status record per key. It writes no hardware: producers post results here and consumers (the
// route programmer that fills the /11 and stride tables) observe its changes.
#include <string>

#include "Fen/Collection.h"
#include "Fen/Ptr.h"
#include "TarnSwitch/LpmKey.h"
#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnLpmSharedTypes.h"
#include "TarnSwitchTable/TarnTableEntries.h"

namespace TarnSwitchTable {

// The status of one route key: the result recorded for it and its hit-polling times. It lives as
// long as a holder keeps it, also after its removal from the table.
class LpmStatus : public Fen::PtrInterface {
 public:
  explicit LpmStatus(const TarnSwitch::LpmKey& key) : key_(key) {}
  const char* fwkType() const override { return "TarnSwitchTable::LpmStatus"; }

  const TarnSwitch::LpmKey& key() const { return key_; }
  const LpmResult& result() const { return result_; }
  void resultIs(const LpmResult& r) { result_ = r; }
  double lastHit() const { return lastHit_; }
  void lastHitIs(double seconds) { lastHit_ = seconds; }
  double lastPolled() const { return lastPolled_; }
  void lastPolledIs(double seconds) { lastPolled_ = seconds; }
  U8 state() const { return state_; }
  void stateIs(U8 s) { state_ = s; }

 private:
  const TarnSwitch::LpmKey key_;
  LpmResult result_;
  double lastHit_ = 0;
  double lastPolled_ = 0;
  U8 state_ = 0;
};

class LpmTable;

// The front table's description: its names, no hardware and no key it refuses.
struct LpmLayout {
  using Key = TarnSwitch::LpmKey;
  using Result = LpmResult;
  using Table = LpmTable;
  static constexpr const char* moduleName = "TarnTableLpm";
  static constexpr const char* tableName = "TarnSwitchTable::LpmTable";
};

class LpmTable : public TarnSwitchApi::SwTable,
                 public TableEntries<LpmTable, TarnSwitch::LpmKey, LpmResult> {
 public:
  using Key = TarnSwitch::LpmKey;
  using Result = LpmResult;
  using Layout = LpmLayout;
  static constexpr bool programsUnchanged = false;  // nothing to repair: no hardware

  using SwTable::SwTable;
  const char* fwkType() const override { return LpmLayout::tableName; }
  // The front table has no convertor: connecting it to a chip changes nothing.
  void doSetProfileConvertor(Fen::Ptr<TarnSwitchApi::HwTableDescriptorConfig>,
                             Fen::Ptr<TarnSwitchApi::HwTableCollection>) override {}

  const Fen::KeyedCollection<Key, Fen::Ptr<LpmStatus>>& entryStatus() const { return status_; }
  // The key's status, created with default values (and observers notified) when it has none.
  Fen::Ptr<LpmStatus> entryStatusIs(const Key& k);
  // Removes and returns the key's status; nullptr when it had none.
  Fen::Ptr<LpmStatus> entryStatusDel(const Key& k);
  void entryStatusDelAll();
  void entryStatusObserverIs(Fen::KeyedCollection<Key, Fen::Ptr<LpmStatus>>::Observer o) {
    status_.observerIs(std::move(o));
  }

  // No hardware rows: raises the range exception.
  std::string decodeRowText(TarnSwitchApi::HwTableId, TarnSwitchApi::HwIndex) override;

 private:
  friend class TableEntries<LpmTable, Key, LpmResult>;
  void programEntry(const Key&, const LpmResult*) {}

  Fen::KeyedCollection<Key, Fen::Ptr<LpmStatus>> status_;
};

Fen::Ptr<LpmTable> lpmTableFactory(const std::string& name);
Fen::Ptr<LpmTable> LpmTableIs(const std::string& name);

}  // namespace TarnSwitchTable
