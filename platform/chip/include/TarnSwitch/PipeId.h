#pragma once
// Pipeline number of the chip: 0..12 are pipelines, 13 is the null pipeline.
#include <string>

#include "Fen/Ranged.h"

namespace TarnSwitch {

struct PipeIdTag {
  static constexpr const char* name = "TarnSwitch::PipeId";
  static const std::string& message();
};
using PipeId = Fen::Ranged<PipeIdTag, Fen::U8, 0, 13>;
constexpr Fen::U8 pipeIdNull = 13;

}  // namespace TarnSwitch
