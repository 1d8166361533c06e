#include "Input.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Errors.h"
#include "Fen/File.h"

namespace Tarnctl {

bool readLine(std::istream& in, std::string& line) {
  line.clear();
  std::streambuf* buf = in.rdbuf();
  bool any = false;
  for (;;) {
    int c;
    try {
      c = buf->sbumpc();
    } catch (const std::exception& e) {
      throw ToolError(std::string("read error: ") + e.what());
    }
    if (c == std::char_traits<char>::eof()) break;
    any = true;
    if (c == '\n') break;
    if (line.size() == maxLineBytes)
      throw ToolError("line longer than " + std::to_string(maxLineBytes) + " bytes");
    line += char(c);
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return any;
}

void refuseControlBytes(std::string_view line) {
  for (std::size_t i = 0; i < line.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(line[i]);
    if ((c < 0x20 && c != '\t' && c != '\r') || c == 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      throw ToolError(std::string("control byte ") + hex + " at column " + std::to_string(i + 1));
    }
  }
}

std::ifstream openInput(const std::string& path, const std::string& what) {
  std::string problem = Fen::inputFileProblem(path);
  std::ifstream in;
  if (problem.empty()) {
    in.open(path, std::ios::binary);
    if (!in) problem = std::strerror(errno);
  }
  if (!problem.empty()) throw ToolError("cannot read " + what + " '" + path + "': " + problem);
  return in;
}

void checkStandardInput() {
  struct stat st;
  if (::fstat(0, &st) != 0) {
    throw ToolError(std::string("cannot read standard input: ") +
                    (errno == EBADF ? "it is closed" : std::strerror(errno)));
  }
  if (S_ISDIR(st.st_mode)) throw ToolError("cannot read standard input: it is a directory");
}

}  // namespace Tarnctl
