#include "TarnSwitchTable/TarnTableLpm.h"

#include "Fen/Exception.h"

namespace TarnSwitchTable {

Fen::Ptr<LpmStatus> LpmTable::entryStatusIs(const Key& k) {
  if (const Fen::Ptr<LpmStatus>* held = status_.find(k)) return *held;
  auto status = Fen::makePtr<LpmStatus>(k);
  status_.set(k, status);
  status_.notify(k);
  return status;
}

Fen::Ptr<LpmStatus> LpmTable::entryStatusDel(const Key& k) {
  const Fen::Ptr<LpmStatus>* held = status_.find(k);
  if (!held) return nullptr;
  Fen::Ptr<LpmStatus> removed = *held;
  status_.del(k);
  status_.notify(k);
  return removed;
}

void LpmTable::entryStatusDelAll() {
  for (const Key& k : status_.keys()) entryStatusDel(k);
}

std::string LpmTable::decodeRowText(TarnSwitchApi::HwTableId, TarnSwitchApi::HwIndex) {
  throw Fen::RangeException(name() + " has no hardware rows");
}

Fen::Ptr<LpmTable> lpmTableFactory(const std::string& name) {
  return Fen::makePtr<LpmTable>(name);
}

Fen::Ptr<LpmTable> LpmTableIs(const std::string& name) {
  return lpmTableFactory(name);
}

}  // namespace TarnSwitchTable
