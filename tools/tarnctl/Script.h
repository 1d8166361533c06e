#pragma once
// The script language: one command per line, read as a stream.
//   set TABLE FIELD=VALUE...     del TABLE KEYFIELD=VALUE...     clear TABLE
//   restart warm [keep]|cold     check                           show TABLE
//   corrupt TABLE [copy=ID] index=N
//   damage TABLE [copy=ID] index=N word=W xor=MASK
//   erase TABLE [copy=ID] index=N
//   route add|del|load|show ...                lookup VRF ADDRESS       (Routes.h)
// "#" starts a comment. A bad line raises ToolError "FILE:LINE: message".
#include <chrono>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "Routes.h"
#include "Session.h"

namespace Tarnctl {

struct RunOptions {
  bool verbose = false;  // echo commands, print comment lines and the writes each command causes
  bool quiet = false;    // no check confirmations
  bool silentCorruption = false;  // corrupted rows only in the stats (the JSON summary)
};

// One restart of the script: its "FILE:LINE", "warm", "warm keep" or "cold", and the hardware
// rows it wrote across every table.
struct RestartStat {
  std::string line;
  std::string mode;
  Fen::U64 writes = 0;
};

// A corrupted row a command read (a restart, or a write that found its row corrupted).
struct CorruptionStat {
  std::string line;
  CorruptionReport row;
};

struct RunStats {
  Fen::U64 lines = 0;
  Fen::U64 commands = 0;
  Fen::U64 checks = 0;
  Fen::U64 checkFailures = 0;
  std::vector<RestartStat> restarts;  // in script order
  std::vector<CorruptionStat> corruptions;
};

// A hardware write seen by the chip's write observer (verbose runs).
struct SeenWrite {
  const TarnSwitchApi::HwTableConfig* table;
  TarnSwitchApi::HwEntryConfig row;
};

class ScriptRunner {
 public:
  ScriptRunner(Session& session, RunOptions options, std::ostream& out);

  // Runs every line of `in`; `fileName` prefixes error messages.
  void run(std::istream& in, const std::string& fileName);
  // Runs one line as a line of a script; errors are LineError "LOCATION: message".
  void runOne(std::string_view line, const std::string& location);
  const RunStats& stats() const { return stats_; }

 private:
  // Prints and records the corrupted rows the tables reported since the last look.
  void reportCorruption();
  void runLine(std::string_view line);
  void runCommand(std::string_view command);
  void restart();
  void fault(std::string_view command);
  void check();
  void show(ToolTable& t);
  void printWrites();
  void progress(const std::string& fileName, bool last);

  Session& session_;
  RouteCommands routes_{session_};
  RunOptions options_;
  std::ostream& out_;
  RunStats stats_;
  std::string location_;
  std::vector<std::string_view> args_;
  std::shared_ptr<std::vector<SeenWrite>> writes_;
  bool progressShown_ = false;
  bool narrating_ = false;  // the previous line was a comment printed as narration
  std::chrono::steady_clock::time_point lastProgress_;
};

}  // namespace Tarnctl
