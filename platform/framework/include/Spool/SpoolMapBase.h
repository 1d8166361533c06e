#pragma once
// Corruption hook of a hardware shadow map: records every corruption message it is given.
#include <string>
#include <vector>

namespace Spool {

class SpoolMapBase {
 public:
  virtual ~SpoolMapBase() = default;
  // Called with the exception's message when a read finds a corrupted entry.
  virtual void doCorruptionDetected(const std::string& message) { reports_.push_back(message); }
  const std::vector<std::string>& corruptionReports() const { return reports_; }
  void corruptionReportsDelAll() { reports_.clear(); }

 private:
  std::vector<std::string> reports_;
};

}  // namespace Spool
