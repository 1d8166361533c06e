#pragma once
// The route lines of a script, on the run's LPM tables through the library's route programmer:
//   route add VRF PREFIX CELLFIELD=VALUE...    route del VRF PREFIX
//   route load FILE                            route show
//   lookup VRF ADDRESS
// Cell fields are those of TarnSwitchTable::EntryCellResult, by path
// ("nexthopIndexes.l3LagIndex") or by their last name alone ("l3LagIndex"). A route file holds one
// route per line, "VRF PREFIX CELLFIELD=VALUE...", with "#" comments; a relative path is read
// beside the script that loads it.
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "Session.h"
#include "TarnSwitchTable/TarnRouteProgrammer.h"

namespace Tarnctl {

class RouteCommands {
 public:
  explicit RouteCommands(Session& session) : session_(session) {}

  // `args` is the whole line, "route" first.
  void route(const std::vector<std::string_view>& args, std::ostream& out);
  // `args` is the whole line, "lookup" first; prints the answer.
  void lookup(const std::vector<std::string_view>& args, std::ostream& out);
  // The agent restarted with new tables: the routes survive a warm restart (the new tables are
  // reprogrammed, which over matching hardware writes nothing) and are dropped by a cold one.
  void restarted(bool cold);
  // The script whose lines follow ("FILE"; "<stdin>" and "demo" read route files from the
  // working directory).
  void scriptIs(const std::string& fileName);

 private:
  // The programmer on the run's tables, built at the first route line.
  TarnSwitchTable::RouteProgrammer& programmer();
  TarnSwitchTable::RouteTables tables() const;
  void add(std::string_view vrf, std::string_view prefix,
           const std::vector<std::string_view>& fields);
  void load(const std::string& path);
  void show(std::ostream& out);

  Session& session_;
  std::unique_ptr<TarnSwitchTable::RouteProgrammer> programmer_;
  std::string scriptDir_;  // empty, or ending in '/'
};

}  // namespace Tarnctl
