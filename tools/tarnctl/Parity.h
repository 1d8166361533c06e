#pragma once
// pack and unpack of a parity source identifier.
#include <string>
#include <vector>

namespace Tarnctl {

// The packed word of the identifier the fields give (parityTable=NAME|N, pipeId=N; a field not
// given keeps its default): "0x%08X" and the identifier's text form.
std::string parityPackText(const std::vector<std::string>& fields);
// The identifier of a packed word (decimal or 0x hex), in the same form.
std::string parityUnpackText(const std::string& word);

}  // namespace Tarnctl
