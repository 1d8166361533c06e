#pragma once
// The reconcile of a direct or hashed table, written once over the row layer: programming one
// row into every copy that holds it, the start-up walk, the repair of position bits, the read-back
// after a restart, the convergence that ends a start and the rows `check` expects.
//
// `Conv` is an engine's typed convertor (a RowConvertor) that supplies
// - `Item` (a RowItem) and `table()`, the typed table;
// - `encodeItem(item, row, encoding, buffer)`: the whole row, static bits included;
// - `staticWords(row, buffer)` and `nullItem(row, item)`: the position bits, the empty entry;
// - `decodeItem(row, words, item)`: true when the row holds an entry;
// - `softwareItem(row, item)`: what software holds at the row, true when it holds an entry;
// - `syncPlace(row, item)`: whether an entry read back is kept where it is;
// - `syncResultIs(row, item)`: software's result replaces the one read back;
// - `convergePrepare()`: run before the convergence walk;
// - `syncSignature`, `itemLabel`: the trace texts of the read-back.
#include <algorithm>

#include "Fen/Assert.h"
#include "TarnSwitchTable/TarnTableRows.h"

namespace TarnSwitchTable {

// Calls `visit(copy, words)` for each copy holding `row` until it returns false, `words` being
// what `encode(encoding, buffer)` gives for the copy's encoding (into a zeroed buffer; copies
// keeping the encoding of the copy before them reuse its words). False when no copy holds it.
template <class Conv, class Encode, class Visit>
bool forEachCopyRow(const Conv& c, HwIndex row, const Encode& encode, const Visit& visit) {
  U32 buffer[hwEntryMaxWords];
  int encoded = -1;
  bool held = false;
  for (const Copy& copy : c.copies()) {
    if (!copy.holds(row)) continue;
    held = true;
    if (copy.encoding != encoded) {
      std::fill(buffer, buffer + hwEntryMaxWords, 0u);
      encode(copy.encoding, buffer);
      encoded = copy.encoding;
    }
    if (!visit(copy, static_cast<const U32*>(buffer))) break;
  }
  return held;
}

// Writes `row` to every copy holding it whose words differ, `encode(encoding, buffer)` giving
// the words of each encoding the copies keep (into a zeroed buffer); the rows written.
template <class Conv, class Encode>
unsigned writeCopies(Conv& c, HwIndex row, const Encode& encode);

template <class Conv, class Encode>
inline __attribute__((always_inline)) unsigned writeRow(Conv& c, HwIndex row,
                                                        const Encode& encode) {
  const Copy* sole = c.soleCopy();
  if (sole && sole->holds(row)) {  // the common case, straight
    U32 buffer[hwEntryMaxWords] = {};
    encode(sole->encoding, buffer);
    return c.template writeRowIfChanged<Conv::wordsPerRow>(*sole, row, buffer) ? 1 : 0;
  }
  return writeCopies(c, row, encode);
}

// writeRow for rows in several copies, or in none.
template <class Conv, class Encode>
unsigned writeCopies(Conv& c, HwIndex row, const Encode& encode) {
  unsigned written = 0;
  const bool held = forEachCopyRow(c, row, encode, [&](const Copy& copy, const U32* words) {
    written += c.writeRowIfChanged(copy, row, words) ? 1 : 0;
    return true;
  });
  if (!held) FEN_TRACE(c.trace(), 8, "HwIndex " << row << Texts::outside);
  return written;
}

// Writes the item's encoding to every copy holding `row` whose words differ; the rows written.
template <class Conv>
unsigned writeItemRow(Conv& c, const typename Conv::Item& item, HwIndex row) {
  return writeRow(c, row,
                  [&](U8 encoding, U32* buffer) { c.encodeItem(item, row, encoding, buffer); });
}

// Repairs the static bits of `row` in every copy that holds it, keeping the data bits.
template <class Conv>
void sanitizeRow(Conv& c, HwIndex row) {
  U32 staticBuffer[hwEntryMaxWords];
  c.staticWords(row, staticBuffer);
  typename Conv::Item empty;
  c.nullItem(row, empty);
  forEachCopyRow(
      c, row, [&](U8 encoding, U32* buffer) { c.encodeItem(empty, row, encoding, buffer); },
      [&](const Copy& copy, const U32* nullWords) {
        c.sanitizeCopyRow(copy, row, staticBuffer, nullWords);
        return true;
      });
}

// The start-up walk: a reset empties every row, otherwise static bits are repaired. While the
// table is starting, the work is only noted: the convergence that ends the start does it, so a
// row is written once however many reasons it has to change.
template <class Conv>
void initRows(Conv& c, bool resetHw) {
  if (!c.hasHardware()) return;
  if (c.starting()) {
    c.startupRowsIs(resetHw ? StartupRows::reset : StartupRows::repair);
    return;
  }
  const bool enabled = c.enabled();
  for (U64 row = c.rowLower(); row <= c.rowUpper(); ++row) {
    if (!resetHw) {
      sanitizeRow(c, HwIndex(row));
    } else if (enabled) {
      typename Conv::Item empty;
      c.nullItem(HwIndex(row), empty);
      writeItemRow(c, empty, HwIndex(row));
    }
  }
}

// The words of row `index` decoded into `item` (the row's empty item), traced to the table's
// module at level 7 as every decode is, the read-back after a restart included; true when the row
// holds an entry.
template <class Conv>
bool decodeRowWords(Conv& c, HwIndex index, const U32* words, typename Conv::Item& item) {
  const bool valid = c.decodeItem(index, words, item);
  using Decoded = typename Conv::Item::Decoded;
  if (valid || !Decoded::validOnly) {
    FEN_TRACE(c.table().moduleTrace(), 7, Decoded::value << item.toStrep());
  }
  return valid;
}

// Marks the key inconsistent when a copy other than `primary` does not hold what it should for
// the entry read back from `primary`.
template <class Conv>
void flagDisagreeingCopies(Conv& c, const typename Conv::Item& item, HwIndex row,
                           const Copy& primary) {
  if (c.copies().size() == 1) return;  // the primary is the only copy
  forEachCopyRow(
      c, row, [&](U8 encoding, U32* buffer) { c.encodeItem(item, row, encoding, buffer); },
      [&](const Copy& copy, const U32* want) {
        U32 held[hwEntryMaxWords];
        if (&copy == &primary || (c.readRow(copy, row, held) && c.heldEquals(copy, held, want)))
          return true;
        c.table().hwInconsistentEntryIs(item.key, true);
        return false;
      });
}

// Reconciles one row read back after a restart: adopt an entry software lacks, rewrite one that
// differs from software or is flagged inconsistent (only while enabled).
template <class Conv>
void syncRow(Conv& c, HwIndex row, bool enabled) {
  const Copy* primary = c.primaryCopy(row);
  if (!primary) return;
  U32 words[hwEntryMaxWords];
  c.readRow(*primary, row, words);
  typename Conv::Item item;
  c.nullItem(row, item);
  if (!decodeRowWords(c, row, words, item)) return;
  FEN_TRACE(c.trace(), 8, "index: " << row << Conv::itemLabel << item.toStrep());
  if (!c.syncPlace(row, item)) return;
  flagDisagreeingCopies(c, item, row, *primary);
  auto& table = c.table();
  const auto* held = table.entry(item.key);
  if (!held) {
    c.ring().write(8, Texts::recovered, item);
    table.entryIs(item.key, item.result);
  } else if (enabled && (!(*held == item.result) || table.hwInconsistentEntry(item.key))) {
    item.result = *held;
    c.syncResultIs(row, item);
    table.hwInconsistentEntryDel(item.key);
    c.ring().write(8, Texts::updateEntry, item);
    writeItemRow(c, item, row);
  }
}

template <class Conv>
void syncRows(Conv& c) {
  FEN_TRACE(c.trace(), 8, Conv::syncSignature);
  const bool enabled = c.enabled();
  for (U64 row = c.rowLower(); row <= c.rowUpper(); ++row) syncRow(c, HwIndex(row), enabled);
}

// Brings one copy of a row to what software wants there. A row the primary copy holds for an
// entry software does not know is left to the read-back (only its position bits are repaired
// during a warm start); a cold start empties every row.
template <class Conv>
void convergeCopy(Conv& c, const Copy& copy, HwIndex row, bool wanted, const U32* want) {
  U32 held[hwEntryMaxWords];
  const bool present = c.readRow(copy, row, held);
  if (present && c.heldEquals(copy, held, want)) return;
  const StartupRows startup = c.startupRows();
  if (startup != StartupRows::reset && !wanted && present && &copy == c.primaryCopy(row)) {
    typename Conv::Item foreign;
    if (c.decodeItem(row, held, foreign)) {
      if (startup == StartupRows::repair) sanitizeRow(c, row);
      return;
    }
  }
  if (startup != StartupRows::reset)
    c.ring().write(8, present ? Texts::updateRow : Texts::initializeRow, U64(row));
  c.writeRowIfChanged(copy, row, want);
}

// The convergence that ends a start: every row of every copy holds the encoding of software's
// entry for it, or the empty encoding. Over hardware that already matches it writes nothing.
// While the table is disabled only the position-bit repair a warm start owes is done.
template <class Conv>
void convergeRows(Conv& c) {
  if (!c.hasHardware()) return;
  const StartupRows startup = c.startupRows();
  if (!c.enabled()) {
    c.startupRowsIs(StartupRows::none);
    if (startup == StartupRows::repair) {
      for (U64 row = c.rowLower(); row <= c.rowUpper(); ++row) sanitizeRow(c, HwIndex(row));
    }
    return;
  }
  c.convergePrepare();
  typename Conv::Item item;
  for (U64 r = c.rowLower(); r <= c.rowUpper(); ++r) {
    const HwIndex row = HwIndex(r);
    const bool wanted = c.softwareItem(row, item);
    forEachCopyRow(
        c, row, [&](U8 encoding, U32* buffer) { c.encodeItem(item, row, encoding, buffer); },
        [&](const Copy& copy, const U32* want) {
          convergeCopy(c, copy, row, wanted, want);
          return true;
        });
  }
  c.startupRowsIs(StartupRows::none);
}

// The words copy `id` should hold at `index` for software's entries; 0 when the library writes
// nothing there (no such copy, a row the copy does not hold, a disabled table).
template <class Conv>
unsigned expectedRowWords(Conv& c, HwTableId id, HwIndex index, U32* words) {
  const Copy* copy = c.copy(id);
  HwTableDescriptor* desc = c.descriptor(0);
  if (!copy || !desc || !desc->enabled() || !copy->holds(index)) return 0;
  typename Conv::Item item;
  c.softwareItem(index, item);
  c.encodeItem(item, index, copy->encoding, words);
  c.keepUncomparedWords(*copy, index, words);
  return copy->words;
}

// Row `index` of copy `id` read back as an item, traced to the table's module (a row past the
// last key, then an unknown copy, raise their range exceptions; a corrupted row reads as empty).
template <class Conv>
typename Conv::Item decodeRowItem(Conv& c, HwTableId id, HwIndex index) {
  typename Conv::Item item;
  c.nullItem(index, item);  // first: a row past the last key raises the key's range message
  U32 words[hwEntryMaxWords];
  c.readRow(c.copyChecked(id), index, words);
  decodeRowWords(c, index, words, item);
  return item;
}

}  // namespace TarnSwitchTable
