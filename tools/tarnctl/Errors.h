#pragma once
// Errors of the tool and its exit statuses.
#include <stdexcept>
#include <string>

namespace Tarnctl {

// Exit statuses: success, a failed check, and any error (bad line, option, file).
constexpr int exitOk = 0;
constexpr int exitCheckFailed = 1;
constexpr int exitError = 2;

// An error whose message is shown as it is, after "tarnctl: " or "FILE:LINE: ".
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Tarnctl

namespace Tarnctl {

// An error at a line of an input file; its message starts with "FILE:LINE: ".
class LineError : public ToolError {
 public:
  using ToolError::ToolError;
};

}  // namespace Tarnctl
