#pragma once
// The soak: seeded random operations on every table of a run against a reference model, with
// restarts of every kind (warm with software empty or kept, cold, and process restarts through a
// saved hardware state file), faults behind the library's back (bit damage, rows erased,
// corrupted reads) and values at the bounds of every numeric field, all as script lines. After
// every restart: `check` passes, software equals the model, and a following warm restart that
// keeps software writes no row. A failure is shrunk to a short script that reproduces it.
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace Tarnctl {

struct SoakOptions {
  std::uint64_t seed = 1;
  std::uint64_t ops = 20000;     // operations in all, shared by the profiles
  std::uint64_t restarts = 200;  // restarts in all (about), shared by the profiles
  std::vector<std::string> profiles{"default", "legacy"};
  std::vector<std::string> tables;  // short names; every registered table when empty
  double shrinkSeconds = 120;       // time spent shrinking a failure
  std::string workDir = "/tmp";     // where process restarts keep the hardware state file
};

struct SoakTotals {
  std::uint64_t ops = 0;
  std::uint64_t restarts = 0;
  std::uint64_t processes = 0;
  std::uint64_t mismatches = 0;
  std::uint64_t refused = 0;  // restarts refused for a row the soak damaged (not in `restarts`)
};

// Runs the soak and prints "soak: ops=<n> restarts=<r> processes=<p> mismatches=<m> seed=<s>"
// (and on a failure the seed, the failure and the shrunk scripts that reproduce it) to `out`.
SoakTotals runSoak(const SoakOptions& options, std::ostream& out);

}  // namespace Tarnctl
