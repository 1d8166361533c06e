#pragma once
// Chip profile selection: a built-in profile by name, or a small profile file.
#include <string>

#include "TarnSwitch/ChipProfile.h"

namespace Tarnctl {

// The built-in profile of that name, or else the profile file at that path: one `field=value`
// per line over the fields of the default profile ("#" starts a comment); `name` defaults to the
// file's base name. Raises ToolError ("FILE:LINE: message" for a bad line).
TarnSwitch::ChipProfile profileFromOption(const std::string& nameOrFile);

// The built-in profiles in the profile file syntax, for `tarnctl profiles`.
std::string profilesText();

}  // namespace Tarnctl
