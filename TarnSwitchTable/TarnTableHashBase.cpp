#include "TarnSwitchTable/TarnTableHashBase.h"

#include <algorithm>

#include "Fen/Assert.h"
#include "Fen/Registry.h"
#include "Fen/RingTrace.h"

namespace TarnSwitchTable {
namespace {

Fen::TraceHandle traceHandle("TarnTableHashBase");

// Configuration and status carry the same name for every table.
const char* const cuckooName = "TarnHashBase";

Fen::ModuleRegistrar registrar(Fen::ModuleInfo{
    "TarnTableHashBase",
    {Fen::ClassInfo{"TarnSwitchTable::HashBaseCuckooEntry", "entry", {}, nullptr, "", ""},
     Fen::ClassInfo{"TarnSwitchTable::HashBaseTable", "table", {}, nullptr, "", ""},
     Fen::ClassInfo{"TarnSwitchTable::HashBaseConvertor", "convertor", {}, nullptr, "", ""}}});

}  // namespace

const Fen::TraceHandle& hashBaseTrace() {
  return traceHandle;
}

void HashBaseTable::doSetProfileConvertor(Fen::Ptr<HwTableDescriptorConfig> config,
                                          Fen::Ptr<HwTableCollection> chip) {
  profileConvertorFactory()->connect(std::move(config), std::move(chip));
  doInitHashTable();
}

HashBaseConvertor* HashBaseTable::profileConvertor() const {
  return static_cast<HashBaseConvertor*>(profileConvertorPtr());
}

void HashBaseTable::doInitHashTable() {
  FEN_TRACE(traceHandle, 8, "void TarnSwitchTable::HashBaseTable::doInitHashTable() " << name());
  HashBaseConvertor* convertor = profileConvertor();
  hashWaysIs(convertor->hashWays());
  hashBucketsIs(convertor->hashBuckets());
  hashEntriesIs(convertor->hashEntries());
  auto config = Keel::Cuckoo::configFactory(cuckooName, U8(std::min<U32>(hashWays(), 255)));
  config->reviewPendingItemSupportIs(false);
  auto status = Keel::Cuckoo::statusFactory(cuckooName);
  for (U32 way = 0; way < hashWays(); ++way) {
    config->tableDescListIs(Keel::Cuckoo::TableId(way), hashBuckets(), U8(hashEntries()));
  }
  cuckooHashTableIs(config, status);
  cuckooHashTableStatusIs(status);
}

void HashBaseTable::cuckooHashTableIs(Fen::Ptr<Keel::Cuckoo::Config> config,
                                      Fen::Ptr<Keel::Cuckoo::Status> status) {
  cuckoo_ = Keel::Cuckoo::HashTable::HashTableIs(config, std::move(status));
  cuckoo_->hasNotificationActiveIs(true);
  config_ = std::move(config);
}

void HashBaseTable::handleHashEntry(const HashEntryConstPtr& hashEntry) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::HashBaseTable::handleHashEntry("
            "Fen::PtrConst<TarnSwitchTable::HashBaseCuckooEntry>) "
                << hashEntry->toStrep());
  if (!hashEntry->valid) {
    const bool success = cuckoo_->deleteItem(hashEntry);
    FEN_ASSERT(success);
    hashItemDelFromHashItem(hashEntry);
    handlePendingCuckooCmds();
    return;
  }
  CuckooLocation location;
  if (cuckoo_->lookupItem(hashEntry, &location)) {
    profileConvertor()->hwTableEntryIs(hashEntry, location);
    return;
  }
  const bool success = cuckoo_->insertItem(hashEntry);
  FEN_ASSERT(success);
  handlePendingCuckooCmds();
}

void HashBaseTable::handlePendingCuckooCmds() {
  FEN_TRACE(traceHandle, 8, "void TarnSwitchTable::HashBaseTable::handlePendingCuckooCmds()");
  HashBaseConvertor* convertor = profileConvertor();
  while (const Keel::Cuckoo::Command* cmd = status_->cmdHead()) {
    if (!cmd->item()) {
      convertor->hwTableEntryDel(cmd->location());
    } else {
      convertor->hwTableEntryIs(Fen::ptrStaticCast<const HashBaseCuckooEntry>(cmd->item()),
                                cmd->location());
    }
    status_->cmdHeadDel();
    config_->cmdReadCompletedInc(1);
  }
}

bool HashBaseTable::hashEntryInsertable(const HashEntryConstPtr& item) const {
  return cuckoo_ && cuckoo_->insertable(item);
}

HashBaseConvertor::HashBaseConvertor(HashBaseTable* swTable, U8 hwEntryWords, U32 hashBuckets,
                                     U32 hashBits, U32 hashWays, U32 hashEntries)
    : HwRowConvertor(swTable, hwEntryWords),
      swTable_(swTable),
      hashBuckets_(hashBuckets),
      hashBits_(hashBits),
      hashWays_(hashWays),
      hashEntries_(hashEntries) {
  FEN_ASSERT(hashBits < 32 && hashBuckets == (1u << hashBits));
}

void HashBaseConvertor::hwTableEntryIs(const HashEntryConstPtr& item,
                                       const CuckooLocation& location) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::HashBaseConvertor::hwTableEntryIs("
            "Fen::PtrConst<TarnSwitchTable::HashBaseCuckooEntry>, "
            "const Keel::Cuckoo::CuckooLocation&) "
                << item->toStrep() << " " << location.toStrep());
  if (!descriptor0().enabled()) return;
  U32 buffer[TarnSwitchApi::hwEntryMaxWords] = {};
  setHwBuffer(item, location, buffer);
  writeHwRowAllCopies(hwIndex(location), buffer, traceHandle);
}

void HashBaseConvertor::hwTableEntryDel(const CuckooLocation& location) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::HashBaseConvertor::hwTableEntryDel("
            "const Keel::Cuckoo::CuckooLocation&) "
                << location.toStrep());
  if (!nullEntry_) nullEntry_ = nullHashEntry();
  hwTableEntryIs(nullEntry_, location);
}

void HashBaseConvertor::initHwEntries(bool resetHw) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::HashBaseConvertor::initHwEntries(bool) "
                << (resetHw ? "true" : "false"));
  HwTableDescriptor& desc = descriptor0();
  for (U64 i = desc.lower(); i <= desc.upper(); ++i) {
    const HwIndex index = HwIndex(i);
    const CuckooLocation location = cuckooLocation(index);
    if (resetHw) {
      hwTableEntryDel(location);
    } else {
      sanitizeEntry(index, location);
    }
  }
}

void HashBaseConvertor::sanitizeEntry(HwIndex index, const CuckooLocation& location) {
  FEN_TRACE(traceHandle, 8,
            "void TarnSwitchTable::HashBaseConvertor::sanitizeEntry(TarnSwitchApi::HwIndex, "
            "const Keel::Cuckoo::CuckooLocation&) "
                << index << " " << location.toStrep());
  U32 staticBuf[TarnSwitchApi::hwEntryMaxWords] = {};
  U32 nullBuf[TarnSwitchApi::hwEntryMaxWords] = {};
  setStaticBuffer(location, staticBuf);
  setHwBuffer(nullHashEntry(), location, nullBuf);
  sanitizeHwRow(index, staticBuf, nullBuf, traceHandle);
}

void HashBaseConvertor::syncEntries() {
  FEN_TRACE(traceHandle, 8, "virtual void TarnSwitchTable::HashBaseConvertor::syncEntries()");
  HwTableDescriptor& desc = descriptor0();
  Fen::DualTrace ring(traceHandle, swTable_->ringTrace());
  for (U64 i = desc.lower(); i <= desc.upper(); ++i) {
    const HwIndex index = HwIndex(i);
    const CuckooLocation location = cuckooLocation(index);
    HashEntryPtr item = decodeHwEntry(index);
    if (!item->valid) continue;
    FEN_TRACE(traceHandle, 8, "index: " << index << " hashEntry " << item->toStrep());
    Fen::Ptr<Keel::Cuckoo::Command> ec =
        swTable_->cuckooHashTable()->setItemAtLocation(item, location);
    FEN_ASSERT(ec->oldItem() == NULL);
    if (!swTable_->entryHasByHashItem(item)) {
      ring.write(8, "Recovered sw table entry from HW ", item->toStrep());
      swTable_->entryIsByHashItem(item);
    } else if (desc.enabled() && (!swTable_->entryEqualByHashItem(item) ||
                                  swTable_->hwInconsistentEntryFromHashItem(item))) {
      swTable_->updateHashItem(item);
      swTable_->hwInconsistentEntryDelFromHashItem(item);
      ring.write(8, "Update entry in hardware ", item->toStrep());
      hwTableEntryIs(item, location);
    }
  }
}

unsigned HashBaseConvertor::expectedHwRow(HwTableId id, HwIndex index, U32* words) {
  HwTableDescriptor* desc = descriptor(0);
  if (!desc || !desc->enabled() || !hwTable(id) || !desc->contains(index)) return 0;
  const CuckooLocation location = cuckooLocation(index);
  HashEntryConstPtr item =
      Fen::ptrStaticCast<const HashBaseCuckooEntry>(swTable_->cuckooHashTable()->itemAt(location));
  if (!item) item = nullHashEntry();
  std::fill(words, words + TarnSwitchApi::hwEntryMaxWords, 0u);
  setHwBuffer(item, location, words);
  return hwEntryWords();
}

HashEntryPtr HashBaseConvertor::decodeHwRow(HwTableId id, HwIndex index) {
  U32 words[TarnSwitchApi::hwEntryMaxWords] = {};
  readHwWords(id, index, words);
  return decodeHwWords(index, words);
}

}  // namespace TarnSwitchTable
