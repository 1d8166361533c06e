#pragma once
// Output files written all or nothing, and the checks an input file passes before it is read.
//
// A regular file (or one not there yet) is written to a temporary file beside it that is then
// renamed over it, so readers see the old file or the new one, never half of one; it keeps the
// permissions of the file it replaces. A symbolic link is followed and its target replaced the
// same way, so the link stays a link. A special file (a device, a pipe, a terminal, or a path
// through /dev or /proc such as /dev/stdout) is written in place: replacing it would turn a device
// node into a regular file. A target that may not be written (read-only, a directory) is refused
// before anything is written.
#include <string>
#include <vector>

namespace Fen {

class OutputFiles {
 public:
  // Adds a file to write; nothing is written before commit.
  void add(std::string path, std::string content);
  // Writes every file added, or none when a target is refused: every target is checked first,
  // the temporaries of the regular files are written next, then the special files, and the
  // temporaries are renamed last. Raises Fen::Exception "cannot write 'PATH': reason".
  void commit();

 private:
  struct Pending {
    std::string path;    // as given, for messages
    std::string target;  // the file written: links followed
    std::string temp;    // the temporary file of a regular target
    std::string content;
    bool inPlace = false;
  };
  void resolve(Pending& p) const;
  void writeTemp(Pending& p) const;
  static void writeInPlace(const Pending& p);
  void removeTemps() const;

  std::vector<Pending> files_;
};

// Writes one file as OutputFiles does.
void writeFileAtomically(const std::string& path, const std::string& content);

// Why `path` cannot be read as an input file ("No such file or directory", "is a directory"), or
// "" when it can be opened for reading. Pipes and devices are accepted.
std::string inputFileProblem(const std::string& path);

}  // namespace Fen
