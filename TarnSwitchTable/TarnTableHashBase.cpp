#include "TarnSwitchTable/TarnTableHashBase.h"

#include <algorithm>

#include "Fen/Assert.h"

namespace TarnSwitchTable {
namespace {

Fen::TraceHandle traceHandle("TarnTableHashBase");

// Configuration and status carry the same name for every table.
const char* const cuckooName = "TarnHashBase";

}  // namespace

const Fen::TraceHandle& hashBaseTrace() {
  return traceHandle;
}

void HashBaseTable::doSetProfileConvertor(Fen::Ptr<HwTableDescriptorConfig> config,
                                          Fen::Ptr<HwTableCollection> chip) {
  profileConvertorFactory()->connect(std::move(config), std::move(chip));
  doInitHashTable();
}

void HashBaseTable::doInitComplete() {
  if (profileConvertor()) profileConvertor()->converge();
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
  if (!hashEntry->valid()) {
    const bool success = cuckoo_->deleteItem(hashEntry);
    FEN_ASSERT(success);
    hashItemDelFromHashItem(hashEntry);
    handlePendingCuckooCmds();
    return;
  }
  // The buckets are computed once for the look-up and the insert.
  U32 hash[Keel::Cuckoo::maxWays];
  cuckoo_->itemHashes(*hashEntry, hash);
  CuckooLocation location;
  if (cuckoo_->lookupItem(hashEntry, hash, &location)) {
    profileConvertor()->hwTableEntryIs(hashEntry, location);
    return;
  }
  const bool success = cuckoo_->insertItem(hashEntry, hash);
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
    : RowConvertor(swTable, hwEntryWords, traceHandle),
      swTable_(swTable),
      hashBuckets_(hashBuckets),
      hashBits_(hashBits),
      hashWays_(hashWays),
      hashEntries_(hashEntries) {
  FEN_ASSERT(hashBits < 32 && hashBuckets == (1u << hashBits));
  if (hashEntries != 1) {
    throw Fen::RangeException("TarnSwitchTable::HashBaseConvertor::hashEntries " +
                              std::to_string(hashEntries) +
                              " not allowed: a hardware row holds one entry of a bucket");
  }
}

}  // namespace TarnSwitchTable
