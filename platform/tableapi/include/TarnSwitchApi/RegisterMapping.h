#pragma once
// Register mappings: which named register each data word of a row is written to.
#include <map>
#include <string>
#include <vector>

#include "Fen/Ptr.h"
#include "TarnSwitchApi/Types.h"

namespace TarnSwitchApi {

// Register name per data word of a row, and whether the row has its registers at the chip's
// hardware API level (`valid`, true when made; a mapping clears it for a row that level lacks).
class HwAddressColl : public Fen::PtrInterface {
 public:
  const char* fwkType() const override { return "TarnSwitchApi::HwAddressColl"; }
  void addressIs(DataArrayIndex i, const std::string& name);
  // The register of word i, or an empty string when the word has none.
  const std::string& address(DataArrayIndex i) const;
  // Whether no word has a register.
  bool empty() const;
  bool valid() const { return valid_; }
  void validIs(bool v) { valid_ = v; }

 private:
  std::string names_[hwEntryMaxWords];
  bool valid_ = true;
};

class HwTableRegisterMapping : public Fen::PtrInterface {
 public:
  explicit HwTableRegisterMapping(std::string name = "") : name_(std::move(name)) {}
  const std::string& name() const { return name_; }
  // The registers of row `index`, or nullptr when the mapping has none for it.
  virtual const HwAddressColl* addresses(HwIndex index) const = 0;
  // The registers of row `index` as a collection of its own: those of `addresses`, or an empty
  // one when there are none.
  virtual Fen::PtrConst<HwAddressColl> getRegister(HwIndex index) const;

 private:
  std::string name_;
};

// The same registers for every row.
class HwTableRegisterMappingConst : public HwTableRegisterMapping {
 public:
  HwTableRegisterMappingConst(std::string name, Fen::PtrConst<HwAddressColl> regs)
      : HwTableRegisterMapping(std::move(name)), regs_(std::move(regs)) {}
  const HwAddressColl* addresses(HwIndex) const override { return regs_.ptr(); }

 private:
  Fen::PtrConst<HwAddressColl> regs_;
};

// Ranges of rows, each ending at the HwIndex given to regsIs (ascending).
class HwTableRegisterMappingRange : public HwTableRegisterMapping {
 public:
  using HwTableRegisterMapping::HwTableRegisterMapping;
  void regsIs(HwIndex highest, Fen::PtrConst<HwAddressColl> regs);
  const HwAddressColl* addresses(HwIndex index) const override;

 private:
  std::map<HwIndex, Fen::PtrConst<HwAddressColl>> ranges_;
};

// Registers given row by row.
class HwTableRegisterMappingColl : public HwTableRegisterMapping {
 public:
  using HwTableRegisterMapping::HwTableRegisterMapping;
  void regsIs(HwIndex index, Fen::PtrConst<HwAddressColl> regs);
  const HwAddressColl* addresses(HwIndex index) const override;

 private:
  std::map<HwIndex, Fen::PtrConst<HwAddressColl>> rows_;
};

}  // namespace TarnSwitchApi
