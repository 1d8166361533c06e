#include "Fen/File.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Fen/Exception.h"

namespace Fen {

void writeFileAtomically(const std::string& path, const std::string& content) {
  std::string tmp = path + ".tmp." + std::to_string(::getpid());
  std::FILE* f = std::fopen(tmp.c_str(), "wb");
  if (!f) throw Exception("cannot write '" + path + "': " + std::strerror(errno));
  bool ok = std::fwrite(content.data(), 1, content.size(), f) == content.size();
  ok = std::fflush(f) == 0 && ok;
  ok = ::fsync(::fileno(f)) == 0 && ok;
  ok = std::fclose(f) == 0 && ok;
  if (!ok || std::rename(tmp.c_str(), path.c_str()) != 0) {
    int err = errno;
    std::remove(tmp.c_str());
    throw Exception("cannot write '" + path + "': " + std::strerror(err));
  }
}

}  // namespace Fen
