#include "TarnSwitchApi/HwTable.h"

#include "Cairn/CorruptionDetectedException.h"

namespace TarnSwitchApi {

HwTableConfig::HwTableConfig(std::string name, HwIndex lower, HwIndex upper)
    : name_(std::move(name)), lower_(lower), upper_(upper) {
  if (name_.empty() || name_.find_first_of(" \t\r\n") != std::string::npos) {
    throw HwIndexException("hardware table name '" + name_ + "' is empty or contains a blank");
  }
  if (upper < lower) {
    throw HwIndexException("hardware table '" + name_ + "' has upper bound " +
                           std::to_string(upper) + " below its lower bound " +
                           std::to_string(lower));
  }
  if (upper - lower >= maxRows) {
    throw HwIndexException("hardware table '" + name_ + "' would have " +
                           std::to_string(U64(upper) - lower + 1) + " rows, more than " +
                           std::to_string(maxRows));
  }
  rows_.resize(std::size_t(upper - lower) + 1);
}

void HwTableConfig::outside(HwIndex index) const {
  throw HwIndexException("HwIndex " + std::to_string(index) + " is outside hardware table '" +
                         name_ + "' [" + std::to_string(lower_) + ", " + std::to_string(upper_) +
                         "]");
}

bool HwTableConfig::entry(HwIndex index, HwEntryConfig& out) const {
  const HwEntryConfig* stored = entryRef(index);
  if (stored) out = *stored;
  return stored != nullptr;
}

void HwTableConfig::corrupted(HwIndex index) const {
  throw Cairn::CorruptionDetectedException("corrupted entry at HwIndex " + std::to_string(index) +
                                           " of hardware table '" + name_ + "'");
}

bool HwTableConfig::hasEntry(HwIndex index) const {
  return row(index).present;
}

const HwEntryConfig* HwTableConfig::storedEntry(HwIndex index) const {
  const Row& r = row(index);
  return r.present ? &r.config : nullptr;
}

void HwTableConfig::entryIs(const HwEntryConfig& config) {
  Row& r = row(config.index());
  r.present = true;
  r.corrupt = false;
  r.config = config;
  ++writes_;
  if (!observers_.empty()) notify(config);
}

void HwTableConfig::entryWordsIs(HwIndex index, const U32* words, unsigned count) {
  Row& r = row(index);
  if (!r.present) r.config = HwEntryConfig(index);
  r.present = true;
  r.corrupt = false;
  r.config.dataPrefixIs(words, count);
  ++writes_;
  if (!observers_.empty()) notify(r.config);
}

void HwTableConfig::notify(const HwEntryConfig& row) const {
  for (const auto& o : observers_) o(*this, row);
}

void HwTableConfig::entryDel(HwIndex index) {
  row(index) = Row();
}

void HwTableConfig::corruptionIs(HwIndex index, bool corrupt) {
  row(index).corrupt = corrupt;
}

void HwTableConfig::damageIs(HwIndex index, DataArrayIndex word, U32 xorMask) {
  Row& r = row(index);
  if (!r.present) {
    r.present = true;
    r.config = HwEntryConfig(index);
  }
  U32 old = word.value() < r.config.words() ? r.config.data(word) : 0;
  r.config.dataIs(word, old ^ xorMask);
}

const std::string& HwTableConfig::registerName(HwIndex index, DataArrayIndex i) const {
  static const std::string none;
  const HwAddressColl* regs = mapping_ ? mapping_->addresses(index) : nullptr;
  return regs ? regs->address(i) : none;
}

Fen::Ptr<HwTableConfig> HwTableCollection::hwTable(const std::string& name) const {
  auto it = tables_.find(name);
  return it == tables_.end() ? nullptr : it->second;
}

Fen::Ptr<HwTableConfig> HwTableCollection::hwTableIs(const std::string& name, HwIndex lower,
                                                     HwIndex upper) {
  auto it = tables_.find(name);
  if (it != tables_.end()) {
    if (it->second->lower() != lower || it->second->upper() != upper) {
      throw HwIndexException("hardware table '" + name + "' exists with bounds [" +
                             std::to_string(it->second->lower()) + ", " +
                             std::to_string(it->second->upper()) + "], not [" +
                             std::to_string(lower) + ", " + std::to_string(upper) + "]");
    }
    return it->second;
  }
  auto table = Fen::makePtr<HwTableConfig>(name, lower, upper);
  for (const auto& o : observers_) table->writeObserverIs(o);
  tables_.emplace(name, table);
  return table;
}

std::vector<Fen::Ptr<HwTableConfig>> HwTableCollection::hwTables() const {
  std::vector<Fen::Ptr<HwTableConfig>> out;
  for (const auto& [name, t] : tables_) out.push_back(t);
  return out;
}

U64 HwTableCollection::writeCount() const {
  U64 n = 0;
  for (const auto& [name, t] : tables_) n += t->writeCount();
  return n;
}

void HwTableCollection::writeObserverIs(HwWriteObserver observer) {
  for (const auto& [name, t] : tables_) t->writeObserverIs(observer);
  observers_.push_back(std::move(observer));
}

Fen::Ptr<HwTableDescriptor> HwTableDescriptorConfig::hwTableDescIs(
    const std::string& name, HwTableId id, const std::string& hwTableName, TableState state,
    HwIndex lower, HwIndex upper, Fen::PtrConst<HwTableRegisterMapping> mapping) {
  auto table = chip_->hwTableIs(hwTableName, lower, upper);
  table->mappingIs(mapping);
  auto d = Fen::makePtr<HwTableDescriptor>(name, id, hwTableName, state, lower, upper,
                                           std::move(mapping));
  descriptors_[hwTableName] = d;
  return d;
}

Fen::Ptr<HwTableDescriptor> HwTableDescriptorConfig::descriptor(
    const std::string& hwTableName) const {
  auto it = descriptors_.find(hwTableName);
  return it == descriptors_.end() ? nullptr : it->second;
}

}  // namespace TarnSwitchApi
