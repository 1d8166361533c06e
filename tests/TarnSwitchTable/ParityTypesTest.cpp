// Parity source identifiers: the packed word worked by hand, the round trip over every table and
// pipe (the bits unpacking ignores set at random), and the text forms of tables without a name.
// (tarnctl's parity tests pin the named text form and the refusals of bad pipes and names.)
#include <gtest/gtest.h>

#include <random>

#include "TarnSwitchTable/TarnParityTypes.h"
#include "support/Chip.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;
using Fen::U32;

TEST(ParitySourceId, PacksTableLowAndPipeHighAndIgnoresTheMiddleBits) {
  const std::pair<ParitySourceId, U32> packed[] = {
      {{ParityTable::vlanMembership, 1}, 0x01000002u},
      {{ParityTable::floodSet, 13}, 0x0D000001u},
      {{ParityTable::macVlan, 0}, 0u},
      {{static_cast<ParityTable>(0xFF), 12}, 0x0C0000FFu},
  };
  for (const auto& [id, word] : packed) {
    EXPECT_EQ(id.u32Value(), word) << id;
    EXPECT_EQ(ParitySourceId::paritySourceIdFromU32(word), id) << word;
  }
  const unsigned seed = 20261123;
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  for (U32 table : {0u, 1u, 2u, 3u, 0xFFu}) {
    for (U32 pipe = 0; pipe <= 13; ++pipe) {
      const ParitySourceId id(static_cast<ParityTable>(table), pipe);
      EXPECT_EQ(id.u32Value() & 0x00FFFF00u, 0u);
      EXPECT_EQ(ParitySourceId::paritySourceIdFromU32(id.u32Value() | (rng() & 0x00FFFF00u)), id);
    }
  }
}

TEST(ParitySourceId, TextFormsAndTableNames) {
  const ParitySourceId unnamed = ParitySourceId::paritySourceIdFromU32(0x0D000007u);
  EXPECT_EQ(unnamed.toStrep(),
            "Value('TarnSwitchTable::ParitySourceId', ** {'parityTable': 7, 'pipeId': 13})");
  EXPECT_EQ(ParitySourceId::fromText(unnamed.toStrep()), unnamed);
  EXPECT_NE(ParitySourceId(ParityTable::macVlan, 1).hash(0),
            ParitySourceId(ParityTable::floodSet, 1).hash(0));
  const char* names[] = {"macVlan", "floodSet", "vlanMembership"};
  for (U32 n = 0; n < 3; ++n) {
    EXPECT_EQ(stringValue(ParityTableInstance(n)), names[n]);
    EXPECT_EQ(ParityTableInstance(std::string(names[n])), static_cast<ParityTable>(n));
    EXPECT_EQ(ParityTableInstance(std::to_string(n)), static_cast<ParityTable>(n));
  }
  EXPECT_EQ(stringValue(ParityTableInstance(200)), "200");
  EXPECT_EQ(thrownMessage<Fen::RangeException>([] { ParityTableInstance(256); }),
            "TarnSwitchTable::ParityTable::value > 255 not allowed");
}

}  // namespace
}  // namespace TarnTest
