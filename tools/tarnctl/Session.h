#pragma once
// The tables of a run on one simulated chip: one instance of every registered table (or of those
// selected), named by its short name, started cold on a fresh chip or warm on saved hardware.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "TarnSwitchApi/SwTable.h"
#include "ToolTable.h"

namespace Tarnctl {

// Every table class the registry offers (kind "table" with a factory), by short name.
std::vector<const Fen::ClassInfo*> registeredTables();
// The registered table class of that short name (or class name); ToolError "unknown table 'X'
// (tables: ...)" listing the registered tables otherwise.
const Fen::ClassInfo& registeredTable(std::string_view name);

// The hardware tables every registered table declares on a chip of `profile`, with their rows
// and the words of a row: what a saved hardware state for that profile may hold. Starts every
// registered table cold on a scratch chip, so a profile the tables cannot work with raises their
// error here (ToolError "table X: ..." or the framework's exception).
TarnSwitchApi::HwTableShapes registeredShapes(const TarnSwitch::ChipProfile& profile);

// The first row where hardware differs from what the library would write.
struct CheckMismatch {
  std::string table;
  TarnSwitchApi::HwTableId id = 0;
  std::string hwTable;
  TarnSwitchApi::HwIndex index = 0;
  std::vector<Fen::U32> held;  // empty when the row is absent
  std::vector<Fen::U32> expected;
  std::string text() const;
};

class Session {
 public:
  // `only`: the short (or class) names of the tables to build, in any order, or empty for every
  // registered table. An unknown name raises registeredTable's ToolError.
  explicit Session(Fen::Ptr<TarnSwitchApi::HwTableCollection> chip,
                   const std::vector<std::string>& only = {});

  // Builds every table anew from its factory on the same chip (cold empties hardware, warm keeps
  // it and reconciles). With `keepSoftware` each new table first receives every entry of the
  // table it replaces, and its start programs them: the agent restored its software tables.
  void start(TarnSwitchApi::StartMode mode, bool keepSoftware = false);
  // The table of that short name (or class name); ToolError naming the tables of the run, or the
  // registered tables for a name that is not registered.
  ToolTable& table(std::string_view name);
  std::vector<std::unique_ptr<ToolTable>>& tables() { return tables_; }
  const Fen::Ptr<TarnSwitchApi::HwTableCollection>& chip() const { return chip_; }

  // Compares every row of every copy of every table with what the library would write; returns
  // the rows compared, and fills `first` with the first mismatch (false when there is one).
  bool check(Fen::U64& rows, CheckMismatch& first) const;

 private:
  bool checkTable(const ToolTable& t, Fen::U64& rows, CheckMismatch& first) const;

  Fen::Ptr<TarnSwitchApi::HwTableCollection> chip_;
  std::vector<std::unique_ptr<ToolTable>> tables_;
};

// "0x0011aabb 0x..." for a list of words.
std::string wordsText(const std::vector<Fen::U32>& words);
std::string hex32(Fen::U32 w);

}  // namespace Tarnctl
