#pragma once
// The simulated chip: the store behind every hardware table, with a write counter, write
// observers, corruption injection and save/load of the whole hardware state.
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Fen/Ptr.h"
#include "TarnSwitch/ChipProfile.h"
#include "TarnSwitchApi/HwEntryConfig.h"
#include "TarnSwitchApi/RegisterMapping.h"

namespace TarnSwitchApi {

class HwTableConfig;
using HwWriteObserver = std::function<void(const HwTableConfig& table, const HwEntryConfig& row)>;

// One hardware table: rows lower..upper, each absent or holding up to 8 words.
class HwTableConfig : public Fen::PtrInterface {
 public:
  // Largest number of rows a simulated table may have.
  static constexpr U32 maxRows = 1u << 24;

  // Raises HwIndexException for an empty or blank-containing name, upper below lower, or more
  // than maxRows rows.
  HwTableConfig(std::string name, HwIndex lower, HwIndex upper);
  const char* fwkType() const override { return "TarnSwitchApi::HwTableConfig"; }

  const std::string& name() const { return name_; }
  HwIndex lower() const { return lower_; }
  HwIndex upper() const { return upper_; }

  // Reads row `index` into `out`; false when the row is absent. A row marked corrupt raises
  // Cairn::CorruptionDetectedException; an index out of bounds raises HwIndexException.
  bool entry(HwIndex index, HwEntryConfig& out) const;
  // The row itself, without a copy: nullptr when absent; corruption and bounds raise as `entry`.
  // Valid until the row is next written.
  const HwEntryConfig* entryRef(HwIndex index) const {
    const Row& r = row(index);
    if (r.corrupt) corrupted(index);
    return r.present ? &r.config : nullptr;
  }
  bool hasEntry(HwIndex index) const;
  // The stored row, ignoring corruption marks (what the chip really holds); nullptr if absent.
  const HwEntryConfig* storedEntry(HwIndex index) const;
  // Writes a row (clearing any corruption mark), counts it and tells the observers.
  void entryIs(const HwEntryConfig& row);
  // Sets words 0 .. count-1 of row `index` in place (an absent row starts empty, words past
  // `count` are kept), then counts and reports the write as entryIs does.
  void entryWordsIs(HwIndex index, const U32* words, unsigned count);
  // Writes words 0 .. count-1 of row `index` as entryWordsIs does, unless the row is present and
  // already holds words 0 .. compare-1 (compare <= count); true when written. A row marked
  // corrupt raises the corruption exception and is not written. The comparison reads the shadow
  // in place; only a write costs a call.
  bool entryWordsIsIfChanged(HwIndex index, const U32* words, unsigned compare, unsigned count) {
    Row& r = row(index);
    if (r.corrupt) corrupted(index);
    if (r.present) {
      const U32* held = r.config.dataArray();  // words past the row's count read 0
      unsigned i = 0;
      while (i < compare && held[i] == words[i]) ++i;
      if (i == compare) return false;
    } else {
      r.config = HwEntryConfig(index);
      r.present = true;
    }
    r.config.dataPrefixIs(words, count);
    ++writes_;
    if (!observers_.empty()) notify(r.config);
    return true;
  }
  // Makes a row absent, as on a chip that was never written there.
  void entryDel(HwIndex index);

  // Faults injected behind the library's back.
  void corruptionIs(HwIndex index, bool corrupt);
  void damageIs(HwIndex index, DataArrayIndex word, U32 xorMask);

  U64 writeCount() const { return writes_; }
  void writeCountReset() { writes_ = 0; }
  void writeObserverIs(HwWriteObserver observer) { observers_.push_back(std::move(observer)); }

  void mappingIs(Fen::PtrConst<HwTableRegisterMapping> m) { mapping_ = std::move(m); }
  const HwTableRegisterMapping* mapping() const { return mapping_.ptr(); }
  // Register name of word i of a row, or "" when the mapping names none.
  const std::string& registerName(HwIndex index, DataArrayIndex i) const;

 private:
  struct Row {
    bool present = false;
    bool corrupt = false;
    HwEntryConfig config;
  };
  Row& row(HwIndex index) {
    return const_cast<Row&>(static_cast<const HwTableConfig*>(this)->row(index));
  }
  const Row& row(HwIndex index) const {
    if (index < lower_ || index > upper_) outside(index);
    return rows_[index - lower_];
  }
  // Raise HwIndexException for an index outside the table, and the corruption exception.
  [[noreturn]] __attribute__((cold, noinline)) void outside(HwIndex index) const;
  [[noreturn]] __attribute__((cold, noinline)) void corrupted(HwIndex index) const;
  // Tells the observers of a write.
  __attribute__((noinline)) void notify(const HwEntryConfig& row) const;

  std::string name_;
  HwIndex lower_;
  HwIndex upper_;
  std::vector<Row> rows_;
  U64 writes_ = 0;
  std::vector<HwWriteObserver> observers_;
  Fen::PtrConst<HwTableRegisterMapping> mapping_;
};

// What a hardware table may hold when it is loaded from a state file: its rows and the words
// of a row, as the tables that declare it lay it out.
struct HwTableShape {
  HwIndex lower = 0;
  HwIndex upper = 0;
  unsigned words = hwEntryMaxWords;
};
using HwTableShapes = std::map<std::string, HwTableShape>;

// The chip: its profile and every hardware table by name.
class HwTableCollection : public Fen::PtrInterface {
 public:
  explicit HwTableCollection(TarnSwitch::ChipProfile profile) : profile_(std::move(profile)) {}
  const char* fwkType() const override { return "TarnSwitchApi::HwTableCollection"; }

  const TarnSwitch::ChipProfile& profile() const { return profile_; }
  Fen::Ptr<HwTableConfig> hwTable(const std::string& name) const;
  // The table of that name, created empty when absent; other bounds than it has raise.
  Fen::Ptr<HwTableConfig> hwTableIs(const std::string& name, HwIndex lower, HwIndex upper);
  std::vector<Fen::Ptr<HwTableConfig>> hwTables() const;
  U64 writeCount() const;
  // Observes writes to every table, present and future.
  void writeObserverIs(HwWriteObserver observer);

  // The whole hardware state as the text of a state file.
  std::string saveText() const;
  // Writes saveText() to `path` as Fen::writeFileAtomically does.
  void save(const std::string& path) const;
  // Reads a state written by save; refuses (HwStateException "PATH:LINE: reason") a truncated
  // or malformed file, one saved for another profile than `expected` when given, and with
  // `shapes` a table not listed there, other bounds than listed or a row longer than listed.
  // Reads line by line with lines of bounded length and keeps only the rows the file holds
  // besides the tables; never returns half a state.
  static Fen::Ptr<HwTableCollection> load(const std::string& path,
                                          const TarnSwitch::ChipProfile* expected,
                                          const HwTableShapes* shapes = nullptr);

 private:
  TarnSwitch::ChipProfile profile_;
  std::map<std::string, Fen::Ptr<HwTableConfig>> tables_;
  std::vector<HwWriteObserver> observers_;
};

// A hardware state file that cannot be loaded; the message names the file and line.
class HwStateException : public Fen::Exception {
 public:
  using Fen::Exception::Exception;
};

// How a convertor declares one of its hardware tables.
class HwTableDescriptor : public Fen::PtrInterface {
 public:
  HwTableDescriptor(std::string name, HwTableId id, std::string hwTableName, TableState state,
                    HwIndex lower, HwIndex upper, Fen::PtrConst<HwTableRegisterMapping> mapping)
      : name_(std::move(name)),
        id_(id),
        hwTableName_(std::move(hwTableName)),
        state_(state),
        lower_(lower),
        upper_(upper),
        mapping_(std::move(mapping)) {}
  const char* fwkType() const override { return "TarnSwitchApi::HwTableDescriptor"; }

  const std::string& name() const { return name_; }
  HwTableId id() const { return id_; }
  const std::string& hwTableName() const { return hwTableName_; }
  TableState state() const { return state_; }
  HwIndex lower() const { return lower_; }
  HwIndex upper() const { return upper_; }
  bool contains(HwIndex i) const { return i >= lower_ && i <= upper_; }
  const HwTableRegisterMapping* mapping() const { return mapping_.ptr(); }
  // A disabled table receives no writes.
  bool enabled() const { return enabled_; }
  void enabledIs(bool e) { enabled_ = e; }

 private:
  std::string name_;
  HwTableId id_;
  std::string hwTableName_;
  TableState state_;
  HwIndex lower_;
  HwIndex upper_;
  Fen::PtrConst<HwTableRegisterMapping> mapping_;
  bool enabled_ = true;
};

// Declares hardware tables on a chip: each descriptor makes sure its table exists there.
class HwTableDescriptorConfig : public Fen::PtrInterface {
 public:
  explicit HwTableDescriptorConfig(Fen::Ptr<HwTableCollection> chip) : chip_(std::move(chip)) {}
  const char* fwkType() const override { return "TarnSwitchApi::HwTableDescriptorConfig"; }

  Fen::Ptr<HwTableDescriptor> hwTableDescIs(const std::string& name, HwTableId id,
                                            const std::string& hwTableName, TableState state,
                                            HwIndex lower, HwIndex upper,
                                            Fen::PtrConst<HwTableRegisterMapping> mapping);
  Fen::Ptr<HwTableDescriptor> descriptor(const std::string& hwTableName) const;
  const Fen::Ptr<HwTableCollection>& chip() const { return chip_; }

 private:
  Fen::Ptr<HwTableCollection> chip_;
  std::map<std::string, Fen::Ptr<HwTableDescriptor>> descriptors_;
};

}  // namespace TarnSwitchApi
