// Source-group table: the hashed-table suite on both built-in profiles, then the hash stream
// and rows worked out by hand (exact words and registers), groups that hardware cannot tell
// apart and the capacity they leave.
#include <gtest/gtest.h>

#include <set>

#include "HashTableSuite.h"
#include "TarnSwitch/CrcHash.h"
#include "TarnSwitchTable/TarnTableSG.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;
using Lanx::Ip4Addr;
using TarnSwitch::IngressPortMask;
using TarnSwitch::MrouteKey;

MrouteKey sg(U32 source, U32 group, unsigned qualifier) {
  return MrouteKey(Ip4Addr(source), Ip4Addr(group), qualifier);
}

template <unsigned Ports>
struct SGTraits {
  using Table = SGTable;
  static Fen::Ptr<SGTable> makeTable() { return sGTableFactory("sg"); }
  static std::string profile() { return Ports == 48 ? "default" : "legacy"; }
  // Groups spread over their whole 32 bits, qualifiers over their 12.
  static MrouteKey key(unsigned n) {
    return sg(0x0A000000u + n, 0xE0000000u ^ (n * 0x9E3779B1u), (n * 37u) % 4096u);
  }
  // VLAN groups within the 4 bits the row keeps, masks reaching port n, the last it holds.
  static SGResult result(unsigned n) {
    return SGResult((n + 1) & 0xF, IngressPortMask((1ull << Ports) | (n + 1)));
  }
};

}  // namespace

using SGProfiles = ::testing::Types<SGTraits<48>, SGTraits<24>>;
INSTANTIATE_TYPED_TEST_SUITE_P(SG, HashTableSuite, SGProfiles);

namespace {

using SGOnChip = OnChip<SGTable>;

// The location the cuckoo engine holds `k` at.
CuckooLocation placed(const SGOnChip& s, const MrouteKey& k) {
  CuckooLocation where;
  EXPECT_TRUE(s.table().cuckooHashTable()->lookupItem(
      Fen::PtrConst<Keel::Cuckoo::HashItem>(s.table().ownItem(k)), &where));
  return where;
}

// The bucket of a way hashes the nine bytes of the 72-bit stream last byte first: here group
// 224.1.2.3 (its low 28 bits 0x0010203), source 10.0.0.1 and qualifier 0x7A5 make the stream
// 0x7A_50A0_0000_1001_0203.
TEST(SGTable, BucketHashesTheReversedStream) {
  const U8 bytes[9] = {0x7A, 0x50, 0xA0, 0x00, 0x00, 0x10, 0x01, 0x02, 0x03};
  const MrouteKey k = sg(0x0A000001, 0xE0010203, 0x7A5);
  for (U8 way = 0; way < 3; ++way)
    EXPECT_EQ(SGLayout::bucket(k, way), TarnSwitch::crc13Hash(bytes, way, 72)) << int(way);
  // Compare field: group bits 13..27 (0x0008), the source from bit 15, the qualifier from 47.
  EXPECT_EQ(SGLayout::hwCompareEncoding(k), 0x03D2850000008008ull);
}

// Compare field in bits 0..58, valid at 59, VLAN group's low 4 bits at 60..63, the port mask in
// bits 64..64+n and its parity at 65+n (n the port count), the location in word 4 (bucket, way
// at 14..15, bit 17, table id 8 at 18..21), the group in word 5 without a register.
TEST(SGTable, HandWorkedRows) {
  struct Case {
    const char* profile;
    MrouteKey key;
    SGResult result;
    U32 words[4];
  };
  const IngressPortMask all(~0ull), two(0x3);
  const Case cases[] = {
      {"default", sg(0x0A000001, 0xE0010203, 5), {0x13, two}, {0x8008, 0x38028500, 0x3, 0x20000}},
      {"legacy", sg(0x0A000001, 0xE0010203, 5), {0x13, two}, {0x8008, 0x38028500, 0x2000003, 0}},
      // Every field full: ports 0..48 (49 bits) and the parity of 113 ones.
      {"default", sg(~0u, 0xEFFFFFFF, 4095), {0xFFFF, all}, {~0u, ~0u, ~0u, 0x3FFFF}},
      // Ports 0..24 on the legacy chip, valid and VLAN group 1: 27 ones, parity at bit 89.
      {"legacy", sg(0, 0xE0000000, 0), {1, all}, {0, 0x18000000, 0x3FFFFFF, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.profile) + " " + c.key.toStrep());
    SGOnChip s(sGTableFactory("sg"), c.profile);
    s.table().entryIs(c.key, c.result);
    const CuckooLocation at = placed(s, c.key);
    const HwIndex row = s.conv().hwIndex(at);
    EXPECT_EQ(at.bucket, SGLayout::bucket(c.key, U8(at.tableId.value())));
    const U32 ctl = at.bucket | (U32(at.tableId.value()) << 14) | 0x220000u;
    const Words want{c.words[0], c.words[1], c.words[2], c.words[3], ctl, c.key.group.value()};
    ASSERT_EQ(s.conv().copies().size(), std::string(c.profile) == "default" ? 2u : 1u);
    for (const Copy& copy : s.conv().copies()) {
      EXPECT_EQ(copy.table->name(), "sg.SG[" + std::to_string(copy.id) + "]");
      EXPECT_EQ(copy.upper, 24575u);
      EXPECT_EQ(rowWords(*copy.table, row, 6), want);
      const std::string p = "ingress/processor_l3[" + std::to_string(copy.id) + "]/";
      const std::string regs[] = {"hash_data0", "hash_data1", "hash_data2",
                                  "hash_data3", "hash_ctl",   ""};
      for (unsigned w = 0; w < 6; ++w)
        EXPECT_EQ(copy.table->registerName(row, w), w < 5 ? p + regs[w] : "");
    }
    // Deleted: the null entry (default key, valid 0) with the location kept.
    s.table().entryDel(c.key);
    EXPECT_EQ(rowWords(*s.conv().copies().front().table, row, 6), (Words{0, 0, 0, 0, ctl, 0}));
  }
}

// Groups that differ only in their top four bits share every bucket and their compare field:
// hardware holds three of them, in the three ways, told apart by the group word alone; a
// warm restart with software empty adopts each with its whole group; a fourth has no place.
TEST(SGTable, GroupsDifferingInTheTopNibbleShareEveryBucket) {
  SGOnChip s(sGTableFactory("sg"));
  const U32 nibbles[] = {0xE, 0xF, 0x1, 0x2};
  std::vector<MrouteKey> keys;
  for (U32 top : nibbles) keys.push_back(sg(0x0A000001, (top << 28) | 0x0123456, 7));
  for (const MrouteKey& k : keys) {
    EXPECT_EQ(SGLayout::hwCompareEncoding(k), SGLayout::hwCompareEncoding(keys[0]));
    for (U8 way = 0; way < 3; ++way)
      EXPECT_EQ(SGLayout::bucket(k, way), SGLayout::bucket(keys[0], way));
  }
  std::map<MrouteKey, SGResult> model;
  for (unsigned i = 0; i < 3; ++i) s.table().entryIs(keys[i], model[keys[i]] = SGResult(1, {}));
  EXPECT_FALSE(s.table().entryInsertable(keys[3]));
  std::set<U32> ways;
  for (unsigned i = 0; i < 3; ++i) ways.insert(placed(s, keys[i]).tableId.value());
  EXPECT_EQ(ways.size(), 3u);
  const auto restarted = startTable(sGTableFactory("sg"), s.chip, StartMode::warm);
  EXPECT_EQ(restarted.writes, 0u);
  EXPECT_EQ(restarted.table->entry().map(), model);
}

}  // namespace
}  // namespace TarnTest
