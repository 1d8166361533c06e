#pragma once
// Multicast source-group table: (source, group, qualifier) -> the VLAN group to replicate into and
// the ingress port mask. A hashed table of 3 ways of 8192 buckets in the hash block of the
// layer-3 processors, which it shares with the LPM stride tables (this table's id there is 8);
// one copy per layer-3 processor.
#include "TarnSwitch/IngressPortMask.h"
#include "TarnSwitch/MrouteKey.h"
#include "TarnSwitch/Parity.h"
#include "TarnSwitch/VlanGroupId.h"
#include "TarnSwitchTable/TarnL3SharedTypes.h"
#include "TarnSwitchTable/TarnTableHashBase.h"

namespace TarnSwitchTable {

struct SGResult : Fen::Value<SGResult> {
  TarnSwitch::VlanGroupId vlanGroupId;
  TarnSwitch::IngressPortMask portMask;

  SGResult() = default;
  SGResult(TarnSwitch::VlanGroupId group, TarnSwitch::IngressPortMask mask)
      : vlanGroupId(group), portMask(mask) {}

  static constexpr const char* fenTypeName = "TarnSwitchTable::SGResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("vlanGroupId", &SGResult::vlanGroupId),
                           Fen::field("portMask", &SGResult::portMask));
  }
};

class SGTableCuckooEntry;
class SGTable;
class SGConvertor;

// The entries of a source-group copy, six words, with n the chip's port count:
//   bits 0..58    the compare field (hwCompareEncoding)
//   bit 59        valid
//   bits 60..63   the VLAN group, low 4 bits
//   bits 64..64+n the port mask (n + 1 bits), bit 65+n the parity of words 0..3
//   word 4        the location: bits 0..12 the bucket, 14..15 the way, 17 set, 18..21 the hash
//                 table id 8 (bits 13, 16 and 22..31 kept)
//   word 5        the group address (no register of its own)
struct SGLayout {
  using Key = TarnSwitch::MrouteKey;
  using Result = SGResult;
  using Entry = SGTableCuckooEntry;
  using Table = SGTable;
  using Convertor = SGConvertor;
  using Item = RowItem<SGLayout>;
  static constexpr const char* moduleName = "TarnTableSG";
  static constexpr const char* tableName = "TarnSwitchTable::SGTable";
  static constexpr const char* entryName = "TarnSwitchTable::SGTableCuckooEntry";
  static constexpr const char* entryTextOpen = "SGTableCuckooEntry(";
  static constexpr const char* convertorName = "TarnSwitchTable::SGConvertor";
  static constexpr const char* hwTableWord = "SG";
  static constexpr U8 hwEntryWords = 6;
  static constexpr U32 hashBuckets = 8192, hashBits = 13, hashWays = 3, hashEntries = 1;
  static constexpr U32 hashTableId = 8;
  static constexpr U32 validBit = 59;
  static constexpr StaticWord staticWords[] = {{4, 0xFFFFFFFFu}};

  // The bucket of a key in a way: crc13Hash of the 72-bit stream (bits 0..27 the group's low 28
  // bits, the fixed top nibble of a multicast group left out; bits 28..59 the source; bits 60..71
  // the qualifier), fed from its last byte to its first.
  static U32 bucket(const TarnSwitch::MrouteKey& key, U8 way);
  // The key bits an entry stores: bits 0..14 group bits 13..27 (the bucket carries the low 13),
  // bits 15..46 the source, bits 47..58 the qualifier.
  static U64 hwCompareEncoding(const TarnSwitch::MrouteKey& key) {
    return U64((key.group.value() >> 13) & 0x7FFFu) | (U64(key.source.value()) << 15) |
           (U64(key.qualifier.value()) << 47);
  }

  // A profile whose port mask and parity would not fit words 2 and 3 (more than 62 ports) raises
  // the range exception; one without a layer-3 processor (fewer than two ingress pipelines)
  // gives no copy.
  explicit SGLayout(const TarnSwitch::ChipProfile& profile);
  // Per layer-3 processor i: rows 0..24575 through "ingress/processor_l3[i]/hash_data0".."3" and
  // "hash_ctl" (words 0..4).
  void declare(const HwTables& hw) const;
  void setStaticBuffer(const CuckooLocation& at, U32* buffer) const {
    constexpr U32 written = 0x1FFFu | (0x3u << 14) | (1u << 17) | (0xFu << 18);
    buffer[4] = (buffer[4] & ~written) | at.bucket | (U32(at.tableId.value()) << 14) | (1u << 17) |
                (hashTableId << 18);
  }
  void encodeEntry(const Item& e, U32* buffer) const {
    const U64 low = hwCompareEncoding(e.key) | (U64(e.valid ? 1 : 0) << validBit) |
                    (U64(e.result.vlanGroupId.value() & 0xFu) << 60);
    buffer[0] = U32(low);
    buffer[1] = U32(low >> 32);
    setRowBits(buffer, 64, ports + 1, e.result.portMask.hardwareBitmask(ports));
    setRowBits(buffer, 65 + ports, 1, TarnSwitch::parityU32Array(buffer, 4));
    buffer[5] = e.key.group.value();
  }
  // Source and qualifier from the compare field, the group from word 5.
  bool decodeEntry(const U32* words, const CuckooLocation&, Item& e) const {
    const U64 low = (U64(words[1]) << 32) | words[0];
    e.key = TarnSwitch::MrouteKey(Lanx::Ip4Addr(U32(low >> 15)), Lanx::Ip4Addr(words[5]),
                                  U32(low >> 47) & 0xFFFu);
    e.result = SGResult(U32(low >> 60), TarnSwitch::IngressPortMask::ingressPortMaskFromHw(
                                            rowBits(words, 64, ports + 1), ports));
    return (low >> validBit) & 1u;
  }

  U32 ports;
  U32 processors;
};

class SGTableCuckooEntry : public HashEntry<SGLayout> {};
class SGConvertor : public HashConvertor<SGLayout> {
 public:
  using HashConvertor::HashConvertor;
};
class SGTable : public HashTable<SGLayout> {
 public:
  using HashTable::HashTable;
};

Fen::Ptr<SGTable> sGTableFactory(const std::string& name);

}  // namespace TarnSwitchTable
