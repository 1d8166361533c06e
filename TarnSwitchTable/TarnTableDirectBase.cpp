#include "TarnSwitchTable/TarnTableDirectBase.h"

#include "Fen/Assert.h"

namespace TarnSwitchTable {
namespace {

Fen::TraceHandle traceHandle("TarnTableDirectBase");

}  // namespace

const Fen::TraceHandle& directBaseTrace() {
  return traceHandle;
}

void DirectBaseTable::doSetProfileConvertor(Fen::Ptr<HwTableDescriptorConfig> config,
                                            Fen::Ptr<HwTableCollection> chip) {
  profileConvertorFactory()->connect(std::move(config), std::move(chip));
  doInitDirectTable();
}

void DirectBaseTable::doInitDirectTable() {
  FEN_TRACE(traceHandle, 8,
            "virtual void TarnSwitchTable::DirectBaseTable::doInitDirectTable() " << name());
}

void DirectBaseTable::doInitComplete() {
  if (profileConvertor()) profileConvertor()->converge();
}

void DirectBaseTable::handleDirectEntry(const Fen::PtrConst<DirectBaseEntry>& directEntry) {
  profileConvertor()->hwTableEntryIs(directEntry);
}

DirectBaseConvertor* DirectBaseTable::profileConvertor() const {
  return static_cast<DirectBaseConvertor*>(profileConvertorPtr());
}

DirectBaseConvertor::DirectBaseConvertor(DirectBaseTable* swTable, U8 hwEntryWords)
    : RowConvertor(swTable, hwEntryWords, traceHandle), swTable_(swTable) {}

void DirectBaseConvertor::hwTableEntryDel(HwIndex index) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::DirectBaseConvertor::hwTableEntryDel(TarnSwitchApi::HwIndex) "
                << index);
  hwTableEntryIs(nullDirectEntry(index));
}

}  // namespace TarnSwitchTable
