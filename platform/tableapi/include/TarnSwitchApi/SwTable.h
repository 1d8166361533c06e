#pragma once
// Software table and profile convertor bases: a table holds software entries; its convertor
// knows the chip's layout and owns the table's hardware tables and descriptors.
#include <string>
#include <vector>

#include "Fen/Ptr.h"
#include "Fen/RingTrace.h"
#include "Spool/SpoolMapBase.h"
#include "TarnSwitchApi/HwTable.h"

namespace TarnSwitchApi {

class SwTableProfileConvertor : public Fen::PtrInterface, public Spool::SpoolMapBase {
 public:
  const char* fwkType() const override { return "TarnSwitchApi::SwTableProfileConvertor"; }

  // Declares the hardware tables; state init (3) also initialises their rows (resetHw: empty
  // every row; otherwise repair only what depends on the position).
  virtual void doCreateHwTables(TableState state, bool resetHw) = 0;
  // Reconciles software with hardware after a restart.
  virtual void syncEntries() {}
  // The words the library means row `index` of hardware table `id` to hold, given the software
  // entries: fills `words` (hwEntryMaxWords words) and returns how many words the row has, or 0
  // when the library writes nothing there.
  virtual unsigned expectedHwRow(TarnSwitchApi::HwTableId id, TarnSwitchApi::HwIndex index,
                                 U32* words);

  void hwTableIs(HwTableId id, Fen::Ptr<HwTableConfig> table);
  void descriptorIs(HwTableId id, Fen::Ptr<HwTableDescriptor> descriptor);
  // nullptr when no table or descriptor was registered under id.
  HwTableConfig* hwTable(HwTableId id) const;
  HwTableDescriptor* descriptor(HwTableId id) const;
  // Every registered hardware table in id order.
  const std::vector<Fen::Ptr<HwTableConfig>>& hwTables() const { return tables_; }
  std::size_t hwTableCount() const { return tables_.size(); }

  // How the owning table hands over the descriptor configuration and the chip.
  void configIs(Fen::Ptr<HwTableDescriptorConfig> config, Fen::Ptr<HwTableCollection> chip);
  HwTableDescriptorConfig* descriptorConfig() const { return config_.ptr(); }
  HwTableCollection* hwTableCollection() const { return chip_.ptr(); }
  const TarnSwitch::ChipProfile& profile() const { return chip_->profile(); }

 private:
  std::vector<Fen::Ptr<HwTableConfig>> tables_;
  std::vector<Fen::Ptr<HwTableDescriptor>> descriptors_;
  Fen::Ptr<HwTableDescriptorConfig> config_;
  Fen::Ptr<HwTableCollection> chip_;
};

class SwTable : public Fen::PtrInterface {
 public:
  explicit SwTable(std::string name) : name_(std::move(name)) {}
  const char* fwkType() const override { return "TarnSwitchApi::SwTable"; }

  virtual const std::string& name() const { return name_; }
  virtual void handleParent() {}
  // Builds and connects the table's convertor for this chip.
  virtual void doSetProfileConvertor(Fen::Ptr<HwTableDescriptorConfig> config,
                                     Fen::Ptr<HwTableCollection> chip) = 0;
  // Asks the convertor to declare (and with state init, initialise) its hardware tables.
  virtual void doCreateHwTable(TableState state, bool resetHw);
  virtual void syncEntries();
  // Runs once the start-up sequence is over; the table is initialized afterwards.
  virtual void doInitComplete() {}

  // Whether the start-up sequence has completed (set by startSwTable after doInitComplete).
  bool initialized() const { return initialized_; }
  void initializedIs(bool v) { initialized_ = v; }

  // Name of a hardware table of this table: "<name>.<word>", with "[<id>]" for copies.
  std::string hwTableName(const std::string& word, int id = -1) const;
  void profileConvertorPtrIs(Fen::Ptr<SwTableProfileConvertor> convertor);
  SwTableProfileConvertor* profileConvertorPtr() const { return convertor_.ptr(); }
  // The chip profile of the connected convertor, nullptr before one is connected.
  const TarnSwitch::ChipProfile* profile() const;

  // Where events that must survive a crash are recorded (the process ring unless set).
  Fen::RingTrace& ringTrace() const { return *ring_; }
  void ringTraceIs(Fen::Ptr<Fen::RingTrace> ring) { ring_ = std::move(ring); }

 private:
  std::string name_;
  Fen::Ptr<SwTableProfileConvertor> convertor_;
  Fen::Ptr<Fen::RingTrace> ring_ = Fen::RingTrace::process();
  bool initialized_ = false;
};

// How a table is brought up on a chip: cold empties every row; warm keeps hardware, repairs the
// position-dependent bits and then reconciles software with what hardware holds.
enum class StartMode { cold, warm };

// Connects `table` to `chip` (doSetProfileConvertor), declares and initialises its hardware
// tables (doCreateHwTable with state init), on a warm start runs syncEntries, and completes the
// start with doInitComplete, after which the table is initialized.
void startSwTable(SwTable& table, const Fen::Ptr<HwTableCollection>& chip, StartMode mode);

}  // namespace TarnSwitchApi
