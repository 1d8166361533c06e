#pragma once
// The seven LPM stride tables: Lpm14Table holds the /12 prefixes (answering /12../14), Lpm17Table
// the /15 ones, and so on up to Lpm32Table with the /30 prefixes. Each is the common stride table
// of TarnTableLpmBase.h with its own constants.
#include "TarnSwitchTable/TarnTableLpmBase.h"

namespace TarnSwitchTable {

// Declares stride member LpmN: base length, hash key width and CRC width, compare width, number
// in the hash block and bucket bits; its table, cuckoo entry and convertor classes and its
// named constructor LpmNTableIs.
#define TARN_LPM_STRIDE(N, BASE, KEY_WIDTH, CRC, COMPARE, ID, BITS)                        \
  class Lpm##N##Table;                                                                     \
  class Lpm##N##TableCuckooEntry;                                                          \
  class Lpm##N##Convertor;                                                                 \
  struct Lpm##N {                                                                          \
    using Table = Lpm##N##Table;                                                           \
    using Entry = Lpm##N##TableCuckooEntry;                                                \
    using Convertor = Lpm##N##Convertor;                                                   \
    static constexpr const char* tableName = "TarnSwitchTable::Lpm" #N "Table";            \
    static constexpr const char* entryName = "TarnSwitchTable::Lpm" #N "TableCuckooEntry"; \
    static constexpr const char* convertorName = "TarnSwitchTable::Lpm" #N "Convertor";    \
    static constexpr const char* baseName = "Lpm" #N;                                      \
    static constexpr U32 prefixBaseLen = BASE, keyWidth = KEY_WIDTH, crcLength = CRC;      \
    static constexpr U32 compareWidth = COMPARE, hashBits = BITS;                          \
    static constexpr U8 hashTableId = ID;                                                  \
  };                                                                                       \
  class Lpm##N##TableCuckooEntry : public LpmBaseTableCuckooEntry<Lpm##N> {};              \
  class Lpm##N##Convertor : public LpmBaseConvertor<Lpm##N> {                              \
   public:                                                                                 \
    using LpmBaseConvertor::LpmBaseConvertor;                                              \
  };                                                                                       \
  class Lpm##N##Table : public LpmBaseTable<Lpm##N> {                                      \
   public:                                                                                 \
    using LpmBaseTable::LpmBaseTable;                                                      \
  };                                                                                       \
  Fen::Ptr<Lpm##N##Table> Lpm##N##TableIs(const std::string& name);

// The /29 member hashes 41 bits: 12 zero bits (or a wide routing instance's sign) above the
// 29-bit key, as the hardware does.
TARN_LPM_STRIDE(14, 12, 14, 10, 4, 6, 10)
TARN_LPM_STRIDE(17, 15, 17, 10, 7, 5, 10)
TARN_LPM_STRIDE(20, 18, 20, 10, 10, 4, 10)
TARN_LPM_STRIDE(23, 21, 23, 10, 13, 3, 10)
TARN_LPM_STRIDE(26, 24, 26, 12, 14, 2, 12)
TARN_LPM_STRIDE(29, 27, 41, 12, 17, 1, 12)
TARN_LPM_STRIDE(32, 30, 32, 12, 20, 0, 12)

#undef TARN_LPM_STRIDE

// Registers the modules of the LPM tables (value types, /11 table, stride base and members).
void registerLpmModules();

}  // namespace TarnSwitchTable
