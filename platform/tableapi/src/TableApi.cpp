#include "TarnSwitchApi/RegisterMapping.h"
#include "TarnSwitchApi/SwTable.h"

namespace TarnSwitchApi {

const std::string& DataArrayIndexTag::message() {
  static const std::string m = Fen::rangeMessageMinMax(name);
  return m;
}

bool operator==(const HwEntryConfig& a, const HwEntryConfig& b) {
  if (a.index() != b.index() || a.words() != b.words()) return false;
  for (unsigned i = 0; i < a.words(); ++i) {
    if (a.dataArray()[i] != b.dataArray()[i]) return false;
  }
  return true;
}

void HwAddressColl::addressIs(DataArrayIndex i, const std::string& name) {
  names_[i.value()] = name;
}

const std::string& HwAddressColl::address(DataArrayIndex i) const {
  return names_[i.value()];
}

bool HwAddressColl::empty() const {
  for (const std::string& n : names_) {
    if (!n.empty()) return false;
  }
  return true;
}

Fen::PtrConst<HwAddressColl> HwTableRegisterMapping::getRegister(HwIndex index) const {
  if (const HwAddressColl* regs = addresses(index)) return Fen::PtrConst<HwAddressColl>(regs);
  return Fen::makePtr<HwAddressColl>();
}

void HwTableRegisterMappingRange::regsIs(HwIndex highest, Fen::PtrConst<HwAddressColl> regs) {
  ranges_[highest] = std::move(regs);
}

const HwAddressColl* HwTableRegisterMappingRange::addresses(HwIndex index) const {
  auto it = ranges_.lower_bound(index);
  return it == ranges_.end() ? nullptr : it->second.ptr();
}

void HwTableRegisterMappingColl::regsIs(HwIndex index, Fen::PtrConst<HwAddressColl> regs) {
  rows_[index] = std::move(regs);
}

const HwAddressColl* HwTableRegisterMappingColl::addresses(HwIndex index) const {
  auto it = rows_.find(index);
  return it == rows_.end() ? nullptr : it->second.ptr();
}

unsigned SwTableProfileConvertor::expectedHwRow(HwTableId, HwIndex, U32*) {
  return 0;
}

void SwTableProfileConvertor::hwTableIs(HwTableId id, Fen::Ptr<HwTableConfig> table) {
  if (tables_.size() <= id) tables_.resize(id + 1);
  tables_[id] = std::move(table);
}

void SwTableProfileConvertor::descriptorIs(HwTableId id, Fen::Ptr<HwTableDescriptor> descriptor) {
  if (descriptors_.size() <= id) descriptors_.resize(id + 1);
  descriptors_[id] = std::move(descriptor);
}

HwTableConfig* SwTableProfileConvertor::hwTable(HwTableId id) const {
  return id < tables_.size() ? tables_[id].ptr() : nullptr;
}

HwTableDescriptor* SwTableProfileConvertor::descriptor(HwTableId id) const {
  return id < descriptors_.size() ? descriptors_[id].ptr() : nullptr;
}

void SwTableProfileConvertor::configIs(Fen::Ptr<HwTableDescriptorConfig> config,
                                       Fen::Ptr<HwTableCollection> chip) {
  config_ = std::move(config);
  chip_ = std::move(chip);
}

void SwTable::doCreateHwTable(TableState state, bool resetHw) {
  if (convertor_) convertor_->doCreateHwTables(state, resetHw);
}

void SwTable::syncEntries() {
  if (convertor_) convertor_->syncEntries();
}

std::string SwTable::hwTableName(const std::string& word, int id) const {
  std::string n = name_ + "." + word;
  if (id >= 0) n += "[" + std::to_string(id) + "]";
  return n;
}

void SwTable::profileConvertorPtrIs(Fen::Ptr<SwTableProfileConvertor> convertor) {
  convertor_ = std::move(convertor);
}

const TarnSwitch::ChipProfile* SwTable::profile() const {
  return convertor_ && convertor_->hwTableCollection() ? &convertor_->profile() : nullptr;
}

void startSwTable(SwTable& table, const Fen::Ptr<HwTableCollection>& chip, StartMode mode) {
  table.doSetProfileConvertor(Fen::makePtr<HwTableDescriptorConfig>(chip), chip);
  table.doCreateHwTable(TableState::init, mode == StartMode::cold);
  if (mode == StartMode::warm) table.syncEntries();
  table.doInitComplete();
  table.initializedIs(true);
}

}  // namespace TarnSwitchApi
