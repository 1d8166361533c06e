#include "TarnSwitchTable/TarnTableSG.h"

#include "TarnSwitch/CrcHash.h"

namespace TarnSwitchTable {
template class HashTable<SGLayout>;
template class HashConvertor<SGLayout>;

U32 SGLayout::bucket(const TarnSwitch::MrouteKey& key, U8 way) {
  const U64 low = U64(key.group.value() & 0x0FFFFFFFu) | (U64(key.source.value()) << 28) |
                  (U64(key.qualifier.value() & 0xFu) << 60);
  U8 bytes[9];
  bytes[0] = U8(key.qualifier.value() >> 4);  // stream bits 64..71
  for (unsigned i = 1; i < 9; ++i) bytes[i] = U8(low >> (8 * (8 - i)));
  return TarnSwitch::crc13Hash(bytes, way, 72);
}

Fen::Ptr<SGTable> sGTableFactory(const std::string& name) {
  return Fen::makePtr<SGTable>(name);
}

SGLayout::SGLayout(const TarnSwitch::ChipProfile& profile)
    : ports(portsFittingRow(profile, profile.portCount, 62, tableName)),
      processors(profile.pipelineCount / 2u) {}

void SGLayout::declare(const HwTables& hw) const {
  for (U32 i = 0; i < processors; ++i) {
    hw.copyIs(i, hw.name(int(i)), 0, hashWays * hashBuckets - 1,
              rowRegisters("ingress/processor_l3[" + std::to_string(i) + "]/",
                           {"hash_data0", "hash_data1", "hash_data2", "hash_data3", "hash_ctl"}));
  }
}

}  // namespace TarnSwitchTable
