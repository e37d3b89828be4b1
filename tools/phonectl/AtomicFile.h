#pragma once

#include <string>

namespace phonectl {

/// A file that appears under its name when it is complete, and otherwise not at all: it is written
/// beside its place, synced and renamed. Readable by its owner only, unless it takes the place of a
/// file, whose mode it gets. A link is followed: what it leads to is replaced.
///
/// Errors are Failure, with a sentence that names the file. Threads: one.
class AtomicFile {
 public:
  explicit AtomicFile(const std::string& path);
  /// What was not committed is gone.
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  void write(const std::string& bytes);
  /// From now on it is there. To be called once, after everything was written.
  void commit();

 private:
  [[noreturn]] void refuse(const char* what) const;
  void takeModeOf(const std::string& path) const;

  const std::string m_shown;  ///< as the user called it
  std::string m_path;
  std::string m_temporary;
  int m_descriptor = -1;
};

}  // namespace phonectl
