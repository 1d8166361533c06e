#pragma once
// The chip profile: port and pipeline counts, revision and hardware API level of one chip.
#include <string>
#include <tuple>
#include <vector>

#include "Fen/Value.h"

namespace TarnSwitch {

// Hardware API level "major.minor", ordered.
struct ProfileHwApi {
  Fen::U8 major = 4;
  Fen::U8 minor = 1;
  friend bool operator==(ProfileHwApi a, ProfileHwApi b) {
    return a.major == b.major && a.minor == b.minor;
  }
  friend bool operator!=(ProfileHwApi a, ProfileHwApi b) { return !(a == b); }
  friend bool operator<(ProfileHwApi a, ProfileHwApi b) {
    return a.major != b.major ? a.major < b.major : a.minor < b.minor;
  }
};

struct ChipProfile : Fen::Value<ChipProfile> {
  std::string name;
  Fen::U16 portCount = 0;        // N
  Fen::U8 pipelineCount = 0;     // K, ingress pipelines
  Fen::U8 portsPerPipeline = 0;  // P
  bool hasCpuPipeline = false;
  Fen::U8 revision = 0;
  ProfileHwApi hwApi;

  static constexpr const char* fenTypeName = "TarnSwitch::ChipProfile";
  static constexpr auto fenFields() {
    return std::make_tuple(
        Fen::field("name", &ChipProfile::name), Fen::field("portCount", &ChipProfile::portCount),
        Fen::field("pipelineCount", &ChipProfile::pipelineCount),
        Fen::field("portsPerPipeline", &ChipProfile::portsPerPipeline),
        Fen::field("hasCpuPipeline", &ChipProfile::hasCpuPipeline),
        Fen::field("revision", &ChipProfile::revision), Fen::field("hwApi", &ChipProfile::hwApi));
  }

  // Egress processors (two ports each).
  unsigned egressProcessorCount() const { return portCount / 2u; }
};

// The built-in profiles, "default" and "legacy"; nullptr for any other name.
const ChipProfile* builtinProfile(const std::string& name);
const std::vector<ChipProfile>& builtinProfiles();

}  // namespace TarnSwitch

namespace Fen {
template <>
struct ValueTraits<TarnSwitch::ProfileHwApi> {
  static const char* typeName() { return "TarnSwitch::ProfileHwApi"; }
  static void print(std::string& out, TarnSwitch::ProfileHwApi v);
  static TarnSwitch::ProfileHwApi parse(TextReader& in);
  static U32 hash(U32 seed, TarnSwitch::ProfileHwApi v) {
    return hashMix(seed, (U32(v.major) << 8) | v.minor, 2);
  }
};
}  // namespace Fen
