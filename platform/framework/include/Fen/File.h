#pragma once
// Atomic file output: the content goes to a temporary file beside the target, which is then
// renamed over it, so readers see the old file or the new one, never half of one.
#include <string>

namespace Fen {

// Raises Fen::Exception naming the path when the file cannot be written.
void writeFileAtomically(const std::string& path, const std::string& content);

}  // namespace Fen
