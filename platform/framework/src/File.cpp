#include "Fen/File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Fen/Exception.h"

namespace Fen {
namespace {

constexpr int maxLinks = 40;  // links followed before a loop is assumed, as the kernel does

bool throughSpecialTree(const std::string& path) {
  return path.rfind("/dev/", 0) == 0 || path.rfind("/proc/", 0) == 0;
}

std::string directoryOf(const std::string& path) {
  auto slash = path.rfind('/');
  if (slash == std::string::npos) return "";
  return path.substr(0, slash + 1);
}

[[noreturn]] void cannotWrite(const std::string& path, const std::string& reason) {
  throw Exception("cannot write '" + path + "': " + reason);
}

bool writeAll(int fd, const std::string& content) {
  std::size_t done = 0;
  while (done < content.size()) {
    ssize_t n = ::write(fd, content.data() + done, content.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += std::size_t(n);
  }
  return true;
}

}  // namespace

void OutputFiles::add(std::string path, std::string content) {
  Pending p;
  p.path = std::move(path);
  p.content = std::move(content);
  files_.push_back(std::move(p));
}

// Follows links from the path given to the file written, and decides how it is written.
void OutputFiles::resolve(Pending& p) const {
  std::string at = p.path;
  struct stat st;
  for (int hop = 0;; ++hop) {
    if (throughSpecialTree(at)) {  // /dev/stdout and /proc/self/fd/N: the kernel follows them
      if (::stat(at.c_str(), &st) != 0) cannotWrite(p.path, std::strerror(errno));
      p.inPlace = true;
      break;
    }
    if (::lstat(at.c_str(), &st) != 0) {
      if (errno != ENOENT) cannotWrite(p.path, std::strerror(errno));
      p.target = at;  // a new file (also the target of a dangling link)
      return;
    }
    if (!S_ISLNK(st.st_mode)) break;
    if (hop == maxLinks) cannotWrite(p.path, std::strerror(ELOOP));
    char buf[4096];
    ssize_t n = ::readlink(at.c_str(), buf, sizeof buf - 1);
    if (n < 0) cannotWrite(p.path, std::strerror(errno));
    std::string link(buf, std::size_t(n));
    at = link.rfind('/', 0) == 0 ? link : directoryOf(at) + link;
  }
  p.target = at;
  if (S_ISDIR(st.st_mode)) cannotWrite(p.path, std::strerror(EISDIR));
  if (!S_ISREG(st.st_mode)) p.inPlace = true;
  // Root may write anything; a file nobody may write is still refused for it.
  bool readOnly = ::access(at.c_str(), W_OK) != 0 || (st.st_mode & 0222) == 0;
  if (readOnly) cannotWrite(p.path, "the file is read-only");
}

void OutputFiles::writeTemp(Pending& p) const {
  p.temp = p.target + ".tmp." + std::to_string(::getpid());
  int fd = ::open(p.temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) {
    p.temp.clear();
    cannotWrite(p.path, std::strerror(errno));
  }
  struct stat st;
  bool ok = writeAll(fd, p.content) && ::fsync(fd) == 0;
  int err = errno;
  if (ok && ::stat(p.target.c_str(), &st) == 0) ok = ::fchmod(fd, st.st_mode & 07777) == 0;
  if (!ok) err = errno;
  ok = ::close(fd) == 0 && ok;
  if (!ok) cannotWrite(p.path, std::strerror(err ? err : errno));
}

void OutputFiles::writeInPlace(const Pending& p) {
  int fd = ::open(p.target.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (fd < 0) cannotWrite(p.path, std::strerror(errno));
  bool ok = writeAll(fd, p.content);
  int err = errno;
  if (::close(fd) != 0 && ok) {
    ok = false;
    err = errno;
  }
  if (!ok) cannotWrite(p.path, std::strerror(err));
}

void OutputFiles::removeTemps() const {
  for (const auto& p : files_) {
    if (!p.temp.empty()) std::remove(p.temp.c_str());
  }
}

void OutputFiles::commit() {
  try {
    for (auto& p : files_) resolve(p);
    for (auto& p : files_) {
      if (!p.inPlace) writeTemp(p);
    }
    for (const auto& p : files_) {
      if (p.inPlace) writeInPlace(p);
    }
    for (auto& p : files_) {
      if (p.inPlace) continue;
      if (std::rename(p.temp.c_str(), p.target.c_str()) != 0)
        cannotWrite(p.path, std::strerror(errno));
      p.temp.clear();
    }
  } catch (...) {
    removeTemps();
    files_.clear();
    throw;
  }
  files_.clear();
}

void writeFileAtomically(const std::string& path, const std::string& content) {
  OutputFiles files;
  files.add(path, content);
  files.commit();
}

std::string inputFileProblem(const std::string& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return std::strerror(errno);
  if (S_ISDIR(st.st_mode)) return std::strerror(EISDIR);
  if (::access(path.c_str(), R_OK) != 0) return std::strerror(errno);
  return "";
}

}  // namespace Fen
