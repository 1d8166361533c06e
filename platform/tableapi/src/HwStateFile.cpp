// Save and load of the whole hardware state of a simulated chip, as text:
//
//   tarn-hw-state 1
//   profile <profile text form>
//   table <name> <lower> <upper> <present rows>
//   row <index> <word count> <word>...
//   end <tables> <rows>
#include <fstream>
#include <sstream>
#include <vector>

#include "Fen/File.h"
#include "Fen/Text.h"
#include "TarnSwitchApi/HwTable.h"

namespace TarnSwitchApi {
namespace {

const char* const fileMagic = "tarn-hw-state 1";
// Longest line a state file may hold: a row line of eight words is far shorter.
constexpr std::size_t maxLineBytes = 4096;

// The lines of a state file, read one at a time with the line number kept for messages. A line
// may end in CR LF; a line longer than maxLineBytes is refused as soon as it is met.
class StateReader {
 public:
  explicit StateReader(const std::string& path) : path_(path) {
    std::string problem = Fen::inputFileProblem(path);
    if (!problem.empty())
      throw HwStateException(path + ": cannot open hardware state file: " + problem);
    in_.open(path, std::ios::binary);
    if (!in_) throw HwStateException(path + ": cannot open hardware state file");
  }

  bool atEnd() {
    fill();
    return !has_;
  }
  const std::string& peek() {
    fill();
    if (!has_) fail("truncated file");
    return line_;
  }
  // Next line, whose first word must be `keyword`; returns the rest as a stream.
  std::istringstream line(const char* keyword) {
    std::istringstream fields(peek());
    has_ = false;
    ++number_;
    std::string word;
    fields >> word;
    if (word != keyword) {
      fail("expected '" + std::string(keyword) + "', instead got '" + Fen::quoteInput(line_) + "'");
    }
    return fields;
  }
  U32 number(std::istringstream& fields, const char* what) {
    std::string token;
    fields >> token;
    std::size_t used = 0;
    unsigned long long v = 0;
    try {
      v = std::stoull(token, &used, 10);
    } catch (const std::exception&) {
      used = 0;
    }
    if (token.empty() || used != token.size() || token[0] == '-' || v > 0xFFFFFFFFull) {
      fail("bad " + std::string(what) + " '" + Fen::quoteInput(token) + "'");
    }
    return U32(v);
  }
  void endOfLine(std::istringstream& fields) {
    std::string extra;
    if (fields >> extra) fail("unexpected '" + Fen::quoteInput(extra) + "'");
  }
  // Names the last line read, or with `ahead` the line after it (a line only peeked at).
  [[noreturn]] void fail(const std::string& msg, std::size_t ahead = 0) const {
    throw HwStateException(path_ + ":" + std::to_string(number_ + ahead) + ": " + msg);
  }

 private:
  // Reads the next line into line_ unless one is waiting.
  void fill() {
    if (has_ || eof_) return;
    line_.clear();
    std::streambuf* buf = in_.rdbuf();
    for (;;) {
      int c = buf->sbumpc();
      if (c == std::char_traits<char>::eof()) {
        eof_ = true;
        has_ = !line_.empty();
        break;
      }
      if (c == '\n') {
        has_ = true;
        break;
      }
      if (line_.size() == maxLineBytes)
        fail("line longer than " + std::to_string(maxLineBytes) + " bytes", 1);
      line_ += char(c);
    }
    if (!line_.empty() && line_.back() == '\r') line_.pop_back();
    if (in_.bad()) fail("read error", 1);
  }

  std::string path_;
  std::ifstream in_;
  std::string line_;
  bool has_ = false;
  bool eof_ = false;
  std::size_t number_ = 0;
};

TarnSwitch::ChipProfile readProfile(StateReader& r) {
  if (r.peek() != fileMagic) {
    r.fail("not a hardware state file (no 'tarn-hw-state 1' header; got '" +
               Fen::quoteInput(r.peek()) + "')",
           1);
  }
  r.line("tarn-hw-state");
  auto fields = r.line("profile");
  std::string text;
  std::getline(fields >> std::ws, text);
  try {
    return TarnSwitch::ChipProfile::fromText(text);
  } catch (const Fen::Exception& e) {
    r.fail(std::string("bad profile: ") + e.what());
  }
}

// The words a row of table `name` may hold; refuses a table the shapes do not list or whose
// bounds differ.
unsigned tableWords(StateReader& r, const HwTableShapes* shapes, const TarnSwitch::ChipProfile& p,
                    const std::string& name, U32 lower, U32 upper) {
  if (!shapes) return hwEntryMaxWords;
  auto it = shapes->find(name);
  if (it == shapes->end()) {
    r.fail("table '" + Fen::quoteInput(name) +
           "' is not a hardware table of any registered table " + "for profile '" + p.name + "'");
  }
  const HwTableShape& s = it->second;
  if (s.lower != lower || s.upper != upper) {
    r.fail("table '" + name + "' has rows [" + std::to_string(lower) + ", " +
           std::to_string(upper) + "], its table declares [" + std::to_string(s.lower) + ", " +
           std::to_string(s.upper) + "]");
  }
  return s.words;
}

U32 readTable(StateReader& r, HwTableCollection& chip, const HwTableShapes* shapes) {
  auto fields = r.line("table");
  std::string name;
  fields >> name;
  U32 lower = r.number(fields, "lower bound");
  U32 upper = r.number(fields, "upper bound");
  U32 rows = r.number(fields, "row count");
  r.endOfLine(fields);
  if (name.empty() || upper < lower || chip.hwTable(name)) {
    r.fail("bad table '" + Fen::quoteInput(name) + "'");
  }
  const unsigned width = tableWords(r, shapes, chip.profile(), name, lower, upper);
  Fen::Ptr<HwTableConfig> table;
  try {
    table = chip.hwTableIs(name, lower, upper);
  } catch (const HwIndexException& e) {
    r.fail(e.what());
  }
  for (U32 i = 0; i < rows; ++i) {
    auto rf = r.line("row");
    U32 index = r.number(rf, "row index");
    U32 count = r.number(rf, "word count");
    if (index < lower || index > upper || count > hwEntryMaxWords || table->hasEntry(index)) {
      r.fail("bad row " + std::to_string(index) + " of table '" + name + "'");
    }
    if (count > width) {
      r.fail("row " + std::to_string(index) + " of table '" + name + "' holds " +
             std::to_string(count) + " words, its rows hold " + std::to_string(width));
    }
    U32 words[hwEntryMaxWords] = {};
    for (U32 w = 0; w < count; ++w) words[w] = r.number(rf, "data word");
    r.endOfLine(rf);
    HwEntryConfig row(index);
    row.dataArrayIs(words, count);
    table->entryIs(row);
  }
  return rows;
}

}  // namespace

std::string HwTableCollection::saveText() const {
  std::ostringstream out;
  out << fileMagic << "\nprofile " << profile_.toStrep() << "\n";
  U64 totalRows = 0;
  for (const auto& [name, t] : tables_) {
    std::ostringstream rows;
    U32 n = 0;
    for (U64 i = t->lower(); i <= t->upper(); ++i) {
      const HwEntryConfig* row = t->storedEntry(HwIndex(i));
      if (!row) continue;
      ++n;
      rows << "row " << i << " " << row->words();
      for (unsigned w = 0; w < row->words(); ++w) rows << " " << row->dataArray()[w];
      rows << "\n";
    }
    out << "table " << name << " " << t->lower() << " " << t->upper() << " " << n << "\n"
        << rows.str();
    totalRows += n;
  }
  out << "end " << tables_.size() << " " << totalRows << "\n";
  return out.str();
}

void HwTableCollection::save(const std::string& path) const {
  Fen::writeFileAtomically(path, saveText());
}

Fen::Ptr<HwTableCollection> HwTableCollection::load(const std::string& path,
                                                    const TarnSwitch::ChipProfile* expected,
                                                    const HwTableShapes* shapes) {
  StateReader r(path);
  TarnSwitch::ChipProfile profile = readProfile(r);
  if (expected && !(*expected == profile)) {
    r.fail("saved for profile '" + profile.name + "', not for profile '" + expected->name + "'");
  }
  auto chip = Fen::makePtr<HwTableCollection>(profile);
  U64 rows = 0;
  U64 tables = 0;
  while (r.peek().rfind("end", 0) != 0) {
    rows += readTable(r, *chip, shapes);
    ++tables;
  }
  auto fields = r.line("end");
  if (r.number(fields, "table count") != tables || r.number(fields, "row count") != rows) {
    r.fail("end line does not match the " + std::to_string(tables) + " tables and " +
           std::to_string(rows) + " rows read");
  }
  r.endOfLine(fields);
  if (!r.atEnd()) r.fail("text after the end line", 1);
  for (const auto& t : chip->hwTables()) t->writeCountReset();
  return chip;
}

}  // namespace TarnSwitchApi
