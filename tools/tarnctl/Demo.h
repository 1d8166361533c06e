#pragma once
// The built-in demo scenario that `tarnctl run` replays when given no script.
namespace Tarnctl {

// The demo as a script: a few ARP entries set, changed and deleted, then a warm restart that
// adopts the rows hardware holds and repairs a damaged one.
const char* demoScript();

}  // namespace Tarnctl
