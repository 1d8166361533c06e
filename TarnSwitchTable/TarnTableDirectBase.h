#pragma once
// Direct table engine: software tables whose keys map one-to-one onto the rows of a directly
// indexed hardware table. A concrete table supplies the key-to-row formula and the row encoder
// and decoder; the engine writes rows only when their words change, walks every row at start,
// repairs position-dependent ("static") bits and reconciles software with hardware after a
// restart. The templates at the end give a concrete table its collections and hooks, so a table
// module holds only its layout.
#include <map>
#include <string>

#include "Fen/Collection.h"
#include "Fen/Ptr.h"
#include "Fen/Trace.h"
#include "Fen/Value.h"
#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnTableEntries.h"
#include "TarnSwitchTable/TarnTableHwRow.h"

namespace TarnSwitchTable {

using TarnSwitchApi::HwTableCollection;
using TarnSwitchApi::HwTableDescriptor;
using TarnSwitchApi::HwTableDescriptorConfig;
using TarnSwitchApi::HwTableId;
using TarnSwitchApi::HwTableRegisterMapping;
using TarnSwitchApi::TableState;

// The engine's trace handle (module "TarnTableDirectBase").
const Fen::TraceHandle& directBaseTrace();

// The row item handed between a direct table and its convertor.
class DirectBaseEntry : public Fen::PtrInterface {
 public:
  const char* fwkType() const override { return "TarnSwitchTable::DirectBaseEntry"; }
  // False for a null row: one that must read as empty in hardware.
  bool valid = false;
  // Text form of the entry (key and result fields after `valid`).
  virtual std::string toStrep() const = 0;
};

class DirectBaseConvertor;

class DirectBaseTable : public TarnSwitchApi::SwTable {
 public:
  using SwTable::SwTable;
  const char* fwkType() const override { return "TarnSwitchTable::DirectBaseTable"; }

  // Builds the convertor, hands it the descriptor configuration and chip, connects it, lets it
  // set its static-word masks and runs doInitDirectTable.
  void doSetProfileConvertor(Fen::Ptr<HwTableDescriptorConfig> config,
                             Fen::Ptr<HwTableCollection> chip) override;

  virtual Fen::Ptr<DirectBaseConvertor> profileConvertorFactory() const = 0;
  virtual bool entryHasByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) const = 0;
  // Stores the item's key and result into software (adopting a hardware row).
  virtual void entryIsByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) = 0;
  virtual bool entryEqualByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) const = 0;
  // Overwrites the item's result with software's result for its key.
  virtual void updateDirectItem(const Fen::Ptr<DirectBaseEntry>& item) const = 0;
  virtual bool hwInconsistentEntryFromDirectItem(
      const Fen::PtrConst<DirectBaseEntry>& item) const = 0;
  virtual void hwInconsistentEntryDelFromDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) = 0;

  // Hook run once the convertor is connected; traces the table's name.
  virtual void doInitDirectTable();
  // The trace handle of the concrete table's module (the engine's own by default).
  virtual const Fen::TraceHandle& moduleTrace() const { return directBaseTrace(); }
  // Programs the row of a changed key (its result, or the null row when absent).
  void handleDirectEntry(const Fen::PtrConst<DirectBaseEntry>& directEntry);

  DirectBaseConvertor* profileConvertor() const;
};

class DirectBaseConvertor : public HwRowConvertor {
 public:
  // `hwEntryWords` above 8 raises the DataArrayIndex range exception.
  DirectBaseConvertor(DirectBaseTable* swTable, U8 hwEntryWords);
  const char* fwkType() const override { return "TarnSwitchTable::DirectBaseConvertor"; }

  void syncEntries() override;
  virtual HwIndex hwIndexFromItem(const Fen::PtrConst<DirectBaseEntry>& item) const = 0;
  // Writes the static bits of row `index` into `buffer` (hwEntryWords words).
  virtual void setStaticBuffer(HwIndex index, U32* buffer) = 0;
  // Encodes the item into `buffer`, static bits included.
  virtual void setHwBuffer(const Fen::PtrConst<DirectBaseEntry>& item, U32* buffer) = 0;
  // A new item for row `index` with `valid` false and a zero result.
  virtual Fen::Ptr<DirectBaseEntry> nullDirectEntry(HwIndex index) const = 0;
  // Reads row `index` of hardware table 0 as an item, valid when the row is not empty.
  virtual Fen::Ptr<DirectBaseEntry> decodeHwEntry(HwIndex index) = 0;
  // The item that the words of row `index` (8 words, missing ones 0) decode to.
  virtual Fen::Ptr<DirectBaseEntry> decodeHwWords(HwIndex index, const U32* words) const = 0;

  // Writes the item's row to every hardware copy whose words differ.
  void hwTableEntryIs(const Fen::PtrConst<DirectBaseEntry>& directEntry);
  // Writes the null encoding of row `index`.
  void hwTableEntryDel(HwIndex index);
  // Visits every row of table 0's range: reset empties it, otherwise sanitizeEntry.
  void initHwEntries(bool resetHw);
  // Repairs the static bits of row `index` in every copy, keeping the data bits.
  void sanitizeEntry(HwIndex index);
  // Every copy mirrors table 0: the encoding of software's entry for the row, or of the null
  // entry; 0 outside table 0's range, for a missing copy and while table 0 is disabled.
  unsigned expectedHwRow(HwTableId id, HwIndex index, U32* words) override;
  // Decodes row `index` of hardware table `id` (a corrupted row reads as empty); an unknown copy
  // raises the range exception.
  Fen::Ptr<DirectBaseEntry> decodeHwRow(HwTableId id, HwIndex index);

  DirectBaseTable* swTable() const { return swTable_; }

 private:
  DirectBaseTable* swTable_;
};

// ---------------------------------------------------------------------------------------------
// Typed layer: key and result value types, the entry that carries them, the table that keeps
// them and the convertor hooks that follow from a key-to-row formula and a row codec.

// Entry of a direct table. D names itself with `static constexpr const char* fenTypeName`.
template <class D, class K, class R>
class DirectEntry : public DirectBaseEntry {
 public:
  using Key = K;
  using Result = R;
  Key key;
  Result result;

  const char* fwkType() const override { return D::fenTypeName; }
  std::string toStrep() const override { return itemStrep(D::fenTypeName, valid, key, result); }
};

// Text form of an entry handle, or "NULL" when absent.
template <class E>
std::string entryText(const Fen::Ptr<E>& e) {
  return e ? e->toStrep() : "NULL";
}

template <class Entry>
class DirectTable : public DirectBaseTable, public TableEntries<DirectTable<Entry>, Entry> {
 public:
  using Key = typename Entry::Key;
  using Result = typename Entry::Result;
  using DirectBaseTable::DirectBaseTable;

  bool entryHasByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) const override {
    return this->itemKeyHas(cast(item));
  }
  void entryIsByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) override {
    this->entryIs(cast(item).key, cast(item).result);
  }
  bool entryEqualByDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) const override {
    return this->itemEqual(cast(item));
  }
  void updateDirectItem(const Fen::Ptr<DirectBaseEntry>& item) const override {
    this->itemResultLoad(static_cast<Entry&>(*item));
  }
  bool hwInconsistentEntryFromDirectItem(
      const Fen::PtrConst<DirectBaseEntry>& item) const override {
    return this->hwInconsistentEntry(cast(item).key);
  }
  void hwInconsistentEntryDelFromDirectItem(const Fen::PtrConst<DirectBaseEntry>& item) override {
    this->hwInconsistentEntryDel(cast(item).key);
  }

 private:
  friend class TableEntries<DirectTable<Entry>, Entry>;

  // Programs the row of `k` holding `r`, or its null row when r is nullptr. Reuses one item
  // across calls, so programming allocates nothing once the table is warm.
  void programEntry(const Key& k, const Result* r) {
    if (!profileConvertorPtr()) return;
    FEN_TRACE(
        moduleTrace(), 8,
        "void " << fwkType() << "::handleEntry(const " << Key::fenTypeName << "&) " << k.toStrep());
    if (!scratch_.unique()) scratch_ = Fen::makePtr<Entry>();
    scratch_->valid = r != nullptr;
    scratch_->key = k;
    scratch_->result = r ? *r : Result();
    FEN_TRACE(moduleTrace(), 8, "Programming Entry " << scratch_->toStrep());
    handleDirectEntry(scratch_);
  }
  static const Entry& cast(const Fen::PtrConst<DirectBaseEntry>& item) {
    return static_cast<const Entry&>(*item);
  }

  Fen::Ptr<Entry> scratch_;
};

// Convertor hooks that follow from the key-to-row formula (hwIndexFromKey, keyFromHwIndex) and
// the row codec (encodeResult, decodeResult). An entry is valid when its result is not the empty
// result.
template <class Entry>
class DirectConvertor : public DirectBaseConvertor {
 public:
  using Key = typename Entry::Key;
  using Result = typename Entry::Result;
  using DirectBaseConvertor::DirectBaseConvertor;

  virtual HwIndex hwIndexFromKey(const Key& k) const = 0;
  virtual Key keyFromHwIndex(HwIndex index) const = 0;
  // Writes the result's data bits into the row buffer (static bits are set afterwards).
  virtual void encodeResult(const Result& r, U32* buffer) const = 0;
  // Reads the result from a row's words (8 words, missing ones 0).
  virtual Result decodeResult(const U32* words) const = 0;

  HwIndex hwIndexFromItem(const Fen::PtrConst<DirectBaseEntry>& item) const override {
    return hwIndexFromKey(static_cast<const Entry&>(*item).key);
  }
  void setHwBuffer(const Fen::PtrConst<DirectBaseEntry>& item, U32* buffer) override {
    encodeResult(static_cast<const Entry&>(*item).result, buffer);
    setStaticBuffer(hwIndexFromItem(item), buffer);
  }
  Fen::Ptr<DirectBaseEntry> nullDirectEntry(HwIndex index) const override {
    auto e = Fen::makePtr<Entry>();
    e->key = keyFromHwIndex(index);
    return e;
  }
  Fen::Ptr<DirectBaseEntry> decodeHwEntry(HwIndex index) override {
    const Fen::TraceHandle& trace = swTable()->moduleTrace();
    FEN_TRACE(trace, 8,
              "virtual Fen::Ptr<TarnSwitchTable::DirectBaseEntry> "
              "TarnSwitchTable::DirectBaseConvertor::decodeHwEntry(TarnSwitchApi::HwIndex) "
                  << index);
    // The key first: a row past the last port is refused with the key's own range message.
    auto e = Fen::makePtr<Entry>();
    e->key = keyFromHwIndex(index);
    U32 words[TarnSwitchApi::hwEntryMaxWords] = {};
    readHwWords(0, index, words);
    e->result = decodeResult(words);
    e->valid = !(e->result == Result());
    FEN_TRACE(trace, 7, "Decoded entry is " << e->toStrep());
    return e;
  }
  Fen::Ptr<DirectBaseEntry> decodeHwWords(HwIndex index, const U32* words) const override {
    auto e = Fen::makePtr<Entry>();
    e->key = keyFromHwIndex(index);
    e->result = decodeResult(words);
    e->valid = !(e->result == Result());
    return e;
  }
};

}  // namespace TarnSwitchTable
