#pragma once
// Reading the tool's input files (scripts, profiles) as hostile text: bounded lines, no control
// bytes, and a clear error for what cannot be read (a directory, a closed standard input).
#include <cstddef>
#include <fstream>
#include <istream>
#include <string>
#include <string_view>

namespace Tarnctl {

// Longest line of a script or profile file.
constexpr std::size_t maxLineBytes = 65536;

// Reads the next line of `in` into `line`, without its line end (LF or CR LF); false at the end
// of the input. A line longer than maxLineBytes, or a read error, raises ToolError.
bool readLine(std::istream& in, std::string& line);
// Raises ToolError when `line` holds a control byte other than tab (a NUL, an escape...).
void refuseControlBytes(std::string_view line);
// Opens `path` for reading; ToolError "cannot read WHAT 'PATH': reason" when it cannot be read.
std::ifstream openInput(const std::string& path, const std::string& what);
// ToolError when standard input cannot be read as a script (closed, or a directory).
void checkStandardInput();

}  // namespace Tarnctl
