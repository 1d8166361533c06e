#pragma once
// Row access shared by the engines: reads that report corruption through the convertor's hook,
// writes that happen only when the row's words change, and the convertor base that holds what
// every engine's convertor needs (row width, static-word masks, its hardware tables, mirrored
// writes and the repair of position-dependent bits).
#include <map>
#include <string>

#include "Fen/Trace.h"
#include "Fen/Value.h"
#include "TarnSwitchApi/SwTable.h"

namespace TarnSwitchTable {

using Fen::U16;
using Fen::U32;
using Fen::U64;
using Fen::U8;
using TarnSwitchApi::HwEntryConfig;
using TarnSwitchApi::HwIndex;
using TarnSwitchApi::HwTableConfig;
using TarnSwitchApi::HwTableDescriptor;
using TarnSwitchApi::HwTableId;
using TarnSwitchApi::HwTableRegisterMapping;
using TarnSwitchApi::SwTableProfileConvertor;
using TarnSwitchApi::TableState;

// Reads row `index` into `out`. A corrupted row is reported to the convertor's corruption hook
// and read as the default (empty) configuration. Returns whether the row exists.
bool readHwRow(SwTableProfileConvertor& convertor, const HwTableConfig& table, HwIndex index,
               HwEntryConfig& out);

// Writes `count` words at `index` unless the row already holds them at that index; words past
// `count` are kept from the present row. Returns whether a write happened.
bool writeHwRowIfChanged(SwTableProfileConvertor& convertor, HwTableConfig& table, HwIndex index,
                         const U32* words, unsigned count);

// Text form of a table item: its type, `valid`, then the key's and the result's fields.
template <class K, class R>
std::string itemStrep(const char* typeName, bool valid, const K& key, const R& result) {
  std::string out = std::string("Value('") + typeName + "', ** {'valid': ";
  Fen::ValueTraits<bool>::print(out, valid);
  bool first = false;
  Fen::printFieldList(out, first, key);
  Fen::printFieldList(out, first, result);
  return out + "})";
}

class HwRowConvertor : public SwTableProfileConvertor {
 public:
  // `hwEntryWords` above 8 raises the DataArrayIndex range exception.
  HwRowConvertor(TarnSwitchApi::SwTable* owner, U8 hwEntryWords);

  // Hands the convertor the descriptor configuration and the chip, connects it to its table and
  // lets it set its static-word masks.
  void connect(Fen::Ptr<TarnSwitchApi::HwTableDescriptorConfig> config,
               Fen::Ptr<TarnSwitchApi::HwTableCollection> chip);
  // Sets the static-word masks; run when the convertor is connected.
  virtual void handleInitialized() {}

  U8 hwEntryWords() const { return hwEntryWords_; }
  const std::map<U8, U32>& hwStaticWord() const { return hwStaticWord_; }
  void hwStaticWordIs(U8 word, U32 mask) { hwStaticWord_[word] = mask; }
  void hwStaticWordDel(U8 word) { hwStaticWord_.erase(word); }
  void hwStaticWordDelAll() { hwStaticWord_.clear(); }

 protected:
  // Declares hardware table `id` on the chip and records it with its descriptor.
  void declareHwTable(HwTableId id, const std::string& hwTableName, TableState state, HwIndex lower,
                      HwIndex upper, Fen::PtrConst<HwTableRegisterMapping> mapping);
  HwTableDescriptor& descriptor0() const;
  // Hardware table `id`; an unknown copy raises the range exception.
  HwTableConfig& hwTableChecked(HwTableId id) const;
  // Reads row `index` of hardware table `id` (a corrupted row reads as the default
  // configuration) into `words`, which holds 8 words; words the row lacks read as 0.
  void readHwWords(HwTableId id, HwIndex index, U32* words);
  // Writes the row to every copy whose words differ; a row outside table 0's range is traced
  // and not written. Returns the number of copies written.
  unsigned writeHwRowAllCopies(HwIndex index, const U32* words, const Fen::TraceHandle& trace);
  // Repairs the bits under the static-word masks of row `index` in every copy, keeping the
  // other bits; a missing row gets `nullWords`.
  void sanitizeHwRow(HwIndex index, const U32* staticWords, const U32* nullWords,
                     const Fen::TraceHandle& trace);

 private:
  TarnSwitchApi::SwTable* owner_;
  U8 hwEntryWords_;
  std::map<U8, U32> hwStaticWord_;
};

}  // namespace TarnSwitchTable
