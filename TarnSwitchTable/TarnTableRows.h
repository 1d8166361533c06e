#pragma once
// The row layer every engine stands on: a table's hardware copies described one by one (the rows
// each holds, how many words it is written and compared on, which encoding of a row it keeps),
// reads that report corruption through the convertor's hook, writes that happen only when a
// copy's words change, the repair of position-dependent ("static") bits, and the start-up
// state that lets the writes of a start reach each row once.
#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "Cairn/CorruptionDetectedException.h"
#include "Fen/Assert.h"
#include "Fen/RingTrace.h"
#include "Fen/Trace.h"
#include "Fen/Value.h"
#include "TarnSwitchApi/SwTable.h"

namespace TarnSwitchTable {

using Fen::U16;
using Fen::U32;
using Fen::U64;
using Fen::U8;
using TarnSwitchApi::HwEntryConfig;
using TarnSwitchApi::hwEntryMaxWords;
using TarnSwitchApi::HwIndex;
using TarnSwitchApi::HwTableConfig;
using TarnSwitchApi::HwTableDescriptor;
using TarnSwitchApi::HwTableId;
using TarnSwitchApi::HwTableRegisterMapping;
using TarnSwitchApi::SwTableProfileConvertor;
using TarnSwitchApi::TableState;

// The engines' ring-trace and trace texts, in one place.
namespace Texts {
constexpr const char* recovered = "Recovered sw table entry from HW ";
constexpr const char* updateEntry = "Update entry in hardware ";
constexpr const char* removedMisplaced = "Removed misplaced entry from HW ";
constexpr const char* initializeRow = "initialize hwEntry for ";
constexpr const char* updateRow = "Update hwEntry for ";
constexpr const char* programming = "Programming Entry ";
constexpr const char* decoded = "Decoded entry is ";
constexpr const char* outside = " lies outside the hardware table: not written";
}  // namespace Texts

// How one hardware copy holds a table's rows. Zero fields take the table's defaults.
struct CopyForm {
  U8 words = 0;         // words written per row (0: the table's hwEntryWords)
  U8 compareWords = 0;  // leading words that decide "unchanged" and read-back agreement (0: all)
  U8 encoding = 0;      // which encoding of a row this copy keeps (handed to the row encoder)
};

// One hardware copy of a table as the row layer uses it.
struct Copy {
  HwTableId id = 0;
  HwTableConfig* table = nullptr;  // owned by the convertor's table list
  HwIndex lower = 0;
  HwIndex upper = 0;
  U8 words = 0;
  U8 compareWords = 0;
  U8 encoding = 0;
  bool holds(HwIndex index) const { return index >= lower && index <= upper; }
};

// What a start-up still owes the rows: nothing, the emptying of a cold start, or the repair of
// position bits of a warm one. Both are folded into the last pass of the start.
enum class StartupRows : U8 { none, reset, repair };

class RowConvertor : public SwTableProfileConvertor {
 public:
  // `hwEntryWords` above 8 raises the DataArrayIndex range exception. `trace` is the engine's.
  RowConvertor(TarnSwitchApi::SwTable* owner, U8 hwEntryWords, const Fen::TraceHandle& trace);

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

  // Every declared copy, in the order declared.
  const std::vector<Copy>& copies() const { return copies_; }
  // The only copy, when the table has one and it holds whole rows (hwEntryWords written and
  // compared); nullptr otherwise. The fast path of a write.
  const Copy* soleCopy() const { return soleCopy_; }
  // The copy of that HwTableId, or nullptr.
  const Copy* copy(HwTableId id) const;
  // Hardware table `id`; an unknown copy raises the range exception.
  const Copy& copyChecked(HwTableId id) const;
  // The copy a row is read back from: the first declared copy that holds it (nullptr: none).
  const Copy* primaryCopy(HwIndex index) const;
  // The rows of the table: from the lowest to the highest row of any copy.
  HwIndex rowLower() const { return rowLower_; }
  HwIndex rowUpper() const { return rowUpper_; }
  // The descriptor of hardware table 0; its absence is fatal.
  HwTableDescriptor& descriptor0() const {
    HwTableDescriptor* desc = descriptor0_;
    FEN_ASSERT(desc != nullptr);
    return *desc;
  }
  // Whether the chip holds the table: a profile may give it no copy (no processor to hold it),
  // and the table then lives in software alone. A table that has not declared its copies yet has
  // no descriptor of hardware table 0, which is fatal.
  bool hasHardware() const {
    if (!hwDeclared_ || !copies_.empty()) descriptor0();
    return !copies_.empty();
  }
  bool enabled() const { return hasHardware() && descriptor0().enabled(); }

  // Reads row `index` of the copy into `words` (hwEntryMaxWords words, zero past the row). A
  // corrupted row is reported to the corruption hook and reads as absent. True when present.
  bool readRow(const Copy& c, HwIndex index, U32* words);
  // Writes the copy's words of row `index` unless the row holds the same compared words at that
  // index (words past the copy's count are kept). True when written.
  bool writeRowIfChanged(const Copy& c, HwIndex index, const U32* words) {
    return writeWordsIfChanged(c, index, words, c.compareWords, c.words);
  }
  // The same for a copy that writes and compares Words words: the counts known when compiled.
  template <unsigned Words>
  bool writeRowIfChanged(const Copy& c, HwIndex index, const U32* words) {
    return writeWordsIfChanged(c, index, words, Words, Words);
  }
  // Whether the compared words of a row read with readRow equal `words`.
  static bool heldEquals(const Copy& c, const U32* held, const U32* words) {
    return std::equal(held, held + c.compareWords, words);
  }
  // For a copy compared on fewer words than it writes: sets the words of `words` past the compared
  // ones to what the copy holds at `index`, since a row whose compared words match is never
  // rewritten and so holds those words as they are (kept when the row is absent).
  void keepUncomparedWords(const Copy& c, HwIndex index, U32* words) {
    if (c.compareWords >= c.words) return;
    U32 held[hwEntryMaxWords];
    if (readRow(c, index, held))
      std::copy(held + c.compareWords, held + c.words, words + c.compareWords);
  }
  // Repairs the static bits of row `index` of one copy, keeping every other bit; an absent row
  // gets `nullWords`. Traces and records what it repairs.
  void sanitizeCopyRow(const Copy& c, HwIndex index, const U32* staticWords, const U32* nullWords);
  // Whether the bits under the static masks of `held` differ from `staticWords`.
  bool staticDamaged(const U32* held, const U32* staticWords, unsigned words) const;

  // Records the start-up's pending row work (see StartupRows); none once the table is running.
  StartupRows startupRows() const { return startupRows_; }
  void startupRowsIs(StartupRows s) { startupRows_ = s; }
  // True while the owning table has not completed its start-up.
  bool starting() const { return !owner_->initialized(); }

  TarnSwitchApi::SwTable* owner() const { return owner_; }
  // The engine's trace handle, and it together with the owning table's ring trace.
  const Fen::TraceHandle& trace() const { return trace_; }
  Fen::DualTrace ring() const { return Fen::DualTrace(trace_, owner_->ringTrace()); }

 protected:
  friend class HwTables;
  // Writes `count` words of the row unless its first `compare` words hold `words` already; a row
  // whose read reports corruption compares as absent: reported, then written.
  inline __attribute__((always_inline)) bool writeWordsIfChanged(const Copy& c, HwIndex index,
                                                                 const U32* words, unsigned compare,
                                                                 unsigned count) {
    try {
      return c.table->entryWordsIsIfChanged(index, words, compare, count);
    } catch (const Cairn::CorruptionDetectedException& e) {
      doCorruptionDetected(e.what());
      c.table->entryWordsIs(index, words, count);
      return true;
    }
  }
  // Declares hardware table `id` on the chip, records it with its descriptor and adds the copy.
  void declareHwTable(HwTableId id, const std::string& hwTableName, TableState state, HwIndex lower,
                      HwIndex upper, Fen::PtrConst<HwTableRegisterMapping> mapping,
                      CopyForm form = {});

 private:
  TarnSwitchApi::SwTable* owner_;
  const Fen::TraceHandle& trace_;
  U8 hwEntryWords_;
  std::map<U8, U32> hwStaticWord_;
  std::vector<Copy> copies_;
  const Copy* soleCopy_ = nullptr;
  HwTableDescriptor* descriptor0_ = nullptr;
  bool hwDeclared_ = false;
  HwIndex rowLower_ = 0;
  HwIndex rowUpper_ = 0;
  StartupRows startupRows_ = StartupRows::none;
};

// The fields of a key in an item's text: a value's own fields, or a key that is a single ranged
// value as the one field `Desc::keyFieldName`.
template <class Desc, class K>
void keyFieldsText(std::string& out, bool& first, const K& key) {
  if constexpr (Fen::IsValue<K>::value) {
    Fen::printFieldList(out, first, key);
  } else {
    out += first ? "'" : ", '";
    first = false;
    out += Desc::keyFieldName;
    out += "': ";
    Fen::ValueTraits<K>::print(out, key);
  }
}

// How an entry's text begins: the layout's `entryTextOpen` (say "ArpEntry("), or else the value
// text form's "Value('<entry type>', ** ".
template <class Desc, class = void>
struct EntryTextOpen {
  static void print(std::string& out) {
    out += "Value('";
    out += Desc::entryName;
    out += "', ** ";
  }
};
template <class Desc>
struct EntryTextOpen<Desc, std::void_t<decltype(Desc::entryTextOpen)>> {
  static void print(std::string& out) { out += Desc::entryTextOpen; }
};

// How a decoded row is traced: every row after the engine's text, or, when the layout gives
// `decodedValidText`, only the valid rows after that text.
template <class Desc, class = void>
struct DecodedText {
  static constexpr const char* value = Texts::decoded;
  static constexpr bool validOnly = false;
};
template <class Desc>
struct DecodedText<Desc, std::void_t<decltype(Desc::decodedValidText)>> {
  static constexpr const char* value = Desc::decodedValidText;
  static constexpr bool validOnly = true;
};

// The text of an item for traces: its opening, `valid`, then the key's and the result's fields.
template <class Desc, class K, class R>
void itemText(std::string& out, bool valid, const K& key, const R& result) {
  EntryTextOpen<Desc>::print(out);
  out += "{'valid': ";
  Fen::ValueTraits<bool>::print(out, valid);
  bool first = false;
  keyFieldsText<Desc>(out, first, key);
  Fen::printFieldList(out, first, result);
  out += "})";
}

// A typed row item as plain data: what the engines decode into, encode from and record in the
// ring trace. Desc names the entry type (Desc::entryName) and gives Key and Result.
template <class Desc>
struct RowItem {
  using Key = typename Desc::Key;
  using Result = typename Desc::Result;
  using Decoded = DecodedText<Desc>;
  bool valid = false;
  Key key;
  Result result;

  std::string toStrep() const {
    std::string out;
    itemText<Desc>(out, valid, key, result);
    return out;
  }
  friend void ringPrint(std::string& out, const RowItem& item) {
    itemText<Desc>(out, item.valid, item.key, item.result);
  }
};

}  // namespace TarnSwitchTable
