#pragma once
// One table of a run, reached through the registry: its class, its software table on the chip,
// and the fields of its key and result by name ("outer.inner" for fields of nested values,
// "list[1]" and "list[1].inner" for elements of fixed arrays).
#include <string>
#include <string_view>
#include <vector>

#include "Fen/Registry.h"
#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnTableAccess.h"

namespace Tarnctl {

// A corrupted row that a read of the library reported: table, copy and row.
struct CorruptionReport {
  std::string table;
  TarnSwitchApi::HwTableId copy = 0;
  std::string hwTable;
  TarnSwitchApi::HwIndex index = 0;
  // "corrupted row read: table arp copy 0 (arp.Arp) HwIndex 197"
  std::string text() const;
};

// A field the script may set: its path and the attributes leading to it.
struct FieldPath {
  std::string path;
  std::vector<const Fen::AttributeInfo*> chain;
  bool key = false;
  bool leaf = false;
  int parent = -1;  // index of the enclosing path, -1 at the top
};

// The path of field `name` inside the field at `parent`: "outer.inner", and "list[1]" for array
// elements; `name` alone at the top.
std::string joinPath(const std::string& parent, const std::string& name);

// "TarnSwitchTable::ArpTable" -> "arp": the class name without namespace and "Table", lower case.
std::string shortTableName(const std::string& className);

class ToolTable {
 public:
  // Raises ToolError when the key or result class is not registered.
  explicit ToolTable(const Fen::ClassInfo& tableClass);

  const std::string& name() const { return name_; }
  const Fen::ClassInfo& tableClass() const { return *class_; }
  const Fen::ClassInfo& keyClass() const { return *keyClass_; }
  const Fen::ClassInfo& resultClass() const { return *resultClass_; }

  // Builds a new software table from the factory and starts it on `chip`; with `keepSoftware`
  // the new table first receives every entry of the table it replaces, so the start programs
  // them (over hardware that already holds them it writes nothing).
  void start(const Fen::Ptr<TarnSwitchApi::HwTableCollection>& chip, TarnSwitchApi::StartMode mode,
             bool keepSoftware = false);
  TarnSwitchApi::SwTable& swTable() const { return *table_; }
  TarnSwitchApi::SwTableProfileConvertor& convertor() const;
  TarnSwitchTable::EntryAccess& access() const { return *access_; }

  // `set`: key fields and any result fields as "name=value"; result fields not given keep
  // software's value for the key (the default for a new key).
  void set(const std::vector<std::string_view>& fields);
  // `del`: key fields only.
  void del(const std::vector<std::string_view>& fields);
  // The entry as a script line ("set arp egressPort=3 ..."), leaf fields in declaration order.
  std::string scriptLine(const void* key, const void* result) const;
  const std::vector<FieldPath>& fields() const { return paths_; }
  // The key fields of a key of this table, as `del` takes them ("egressPort=3 rewriteIndex=5").
  std::string keyFields(const void* key) const;
  // The hardware copy `id`, or ToolError naming the copies there are.
  TarnSwitchApi::HwTableConfig& hwCopy(TarnSwitchApi::HwTableId id) const;
  // The words a row of copy `id` holds, and how many leading ones decide whether a row holds
  // what the library writes (the rest is written with them but never compared).
  unsigned copyWords(TarnSwitchApi::HwTableId id) const;
  unsigned copyComparedWords(TarnSwitchApi::HwTableId id) const;
  // The corrupted rows the library reported since the last call.
  std::vector<CorruptionReport> takeCorruptionReports();

 private:
  // A new table object from the factory, checked to offer entry access of the registered types.
  Fen::Ptr<Fen::PtrInterface> build() const;
  // "table arp copy 0 (arp.Arp) HwIndex 197: " for the first stored row whose decode raises,
  // or "table arp: " when none does: where a start that raised `e` met it.
  std::string failedStartPlace() const;
  // Adds a path per attribute (and its children), each joined to the enclosing path `prefix`.
  void addPaths(const std::vector<Fen::AttributeInfo>& attrs, const std::string& prefix,
                std::vector<const Fen::AttributeInfo*> chain, bool key, int parent);
  // Parses "name=value" tokens of the key (or of the result) into the scratch objects.
  void applyFields(const std::vector<std::string_view>& fields, bool key, bool keyOnly);
  void applyField(std::size_t pathIndex, std::string_view field, std::string_view value);
  void requireKeyFields() const;
  // A key the table refuses is a ToolError naming the table and the key.
  void checkKey() const;
  // The leaf fields, comma-separated (key fields only when `keyOnly`).
  std::string fieldList(bool keyOnly = false) const;

  const Fen::ClassInfo* class_;
  const Fen::ClassInfo* keyClass_;
  const Fen::ClassInfo* resultClass_;
  std::string name_;
  std::vector<FieldPath> paths_;
  std::vector<bool> given_;
  Fen::Ptr<Fen::PtrInterface> object_;
  TarnSwitchApi::SwTable* table_ = nullptr;
  TarnSwitchTable::EntryAccess* access_ = nullptr;
};

}  // namespace Tarnctl
