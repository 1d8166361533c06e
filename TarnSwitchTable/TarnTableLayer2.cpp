#include "TarnSwitchTable/TarnTableLayer2.h"

namespace TarnSwitchTable {
namespace {

Fen::TraceHandle traceHandle("TarnTableLayer2");

}  // namespace

const Fen::TraceHandle& layer2Trace() {
  return traceHandle;
}

}  // namespace TarnSwitchTable
