#include "host/directory/SqliteBackend.h"

#include <fcntl.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace host {

namespace {

using Kind = PhoneBookError::Kind;
namespace fs = std::filesystem;

std::string reasonOf(int error) { return std::generic_category().message(error); }

// A new name is on the disk when its folder is.
void syncFolder(const fs::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  ::fsync(descriptor);
  ::close(descriptor);
}

bool isThere(const fs::path& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0;
}

PhoneBookError cannotMake(const fs::path& folder) {
  return {Kind::Broken,
          "The phonebook's folder " + folder.string() + " can't be made: " + reasonOf(errno) + "."};
}

/// The folder itself, or the one above it that is there.
fs::path existingFolder(const fs::path& folder) {
  struct stat status = {};
  if (::stat(folder.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return folder;
    errno = ENOTDIR;
  }
  if (errno != ENOENT || !folder.has_relative_path())
    throw PhoneBookError(Kind::Broken, "The phonebook's folder " + folder.string() +
                                           " can't be reached: " + reasonOf(errno) + ".");
  return existingFolder(folder.parent_path());
}

void makeFolders(const fs::path& folder) {
  if (existingFolder(folder) == folder) return;
  makeFolders(folder.parent_path());
  if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) throw cannotMake(folder);
  syncFolder(folder.parent_path());
}

/// A path within a URI.
std::string escaped(const std::string& path) {
  std::string text;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    char code[4];
    std::snprintf(code, sizeof code, "%%%02X", byte);
    text += std::isalnum(byte) != 0 || c == '/' ? std::string(1, c) : code;
  }
  return text;
}

int resultOf(const soci::soci_error& error) {
  const auto* const failed = dynamic_cast<const soci::sqlite3_soci_error*>(&error);
  constexpr int kExtendedBits = 8;
  return failed == nullptr ? SQLITE_ERROR : failed->result() & ((1 << kExtendedBits) - 1);
}

}  // namespace

SqliteBackend::SqliteBackend(const std::string& path) : m_path(fs::absolute(path)) {}

void SqliteBackend::connect(soci::session& session) {
  checkName();
  makeFolders(m_path.parent_path());
  checkPlace();
  openFile(session);
  configure(session);
  checkContents(session);
  struct stat status = {};
  if (::stat(m_path.c_str(), &status) != 0) throw broken("vanished while it was opened");
  m_device = status.st_dev;
  m_inode = status.st_ino;
}

bool SqliteBackend::connectToLook(soci::session& session) {
  checkName();
  const fs::path folder = existingFolder(m_path.parent_path());
  if (folder != m_path.parent_path()) {
    if (::access(folder.c_str(), W_OK | X_OK) != 0) throw cannotMake(m_path.parent_path());
    return false;
  }
  checkPlace();
  if (!isThere(m_path)) return false;
  openFileToLook(session);
  checkContents(session);
  return true;
}

// Entries that stand in the log only would be missing in a copy of the file, and a log that is left
// behind would spoil a file that is put in the place of this one.
void SqliteBackend::settle(soci::session& session) {
  try {
    session << "PRAGMA wal_checkpoint(TRUNCATE)";
  } catch (const soci::soci_error&) {
    // There is no room, or someone reads: the entries stay in the log until the next time.
  }
}

bool SqliteBackend::hasMoved(soci::session& session) const {
  static_cast<void>(session);
  struct stat status = {};
  if (::stat(m_path.c_str(), &status) != 0) return true;
  return status.st_dev != m_device || status.st_ino != m_inode;
}

std::string SqliteBackend::tablesQuery() const {
  return "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite~_%' "
         "ESCAPE '~'";
}

void SqliteBackend::checkName() const {
  if (m_path.string().find('"') != std::string::npos)
    throw broken("has a quotation mark in its path");
}

void SqliteBackend::checkPlace() const {
  // The log is made beside the file, so that a file that may be written isn't enough.
  if (::access(m_path.parent_path().c_str(), W_OK | X_OK) != 0)
    throw broken("can't be written: its folder says \"" + reasonOf(errno) + "\"");
  struct stat status = {};
  if (::stat(m_path.c_str(), &status) != 0) return;
  if (!S_ISREG(status.st_mode)) throw broken("is not a file");
  // What may only be read would be opened for reading without a word.
  if (::access(m_path.c_str(), R_OK | W_OK) != 0)
    throw broken("can't be read and written: " + reasonOf(errno));
}

void SqliteBackend::openFile(soci::session& session) const {
  // The file must not be opened by hand: closing it would take away every lock that another
  // connection of this process has on it.
  const bool isNew = !isThere(m_path);
  session.open(soci::sqlite3, "db=\"" + m_path.string() + "\"");
  if (!isNew) return;
  // Still empty. The log and the index of the log get the mode of the file.
  if (::chmod(m_path.c_str(), S_IRUSR | S_IWUSR) != 0)
    throw broken("can't be made private: " + reasonOf(errno));
  syncFolder(m_path.parent_path());
}

// A reader of a database that has a log makes files of its own beside it when they aren't there. So
// where nobody has it open, and there is no log, it is taken for one that never changes.
void SqliteBackend::openFileToLook(soci::session& session) const {
  const bool inUse = isThere(m_path.string() + "-wal");
  session.open(soci::sqlite3, "db=\"file:" + escaped(m_path.string()) +
                                  (inUse ? "?mode=ro" : "?immutable=1") + "\" readonly=1");
  session << "PRAGMA trusted_schema = OFF";
  session << "PRAGMA cell_size_check = ON";
}

void SqliteBackend::configure(soci::session& session) const {
  // The file may come from anywhere: nothing that its schema says is trusted.
  session << "PRAGMA trusted_schema = OFF";
  session << "PRAGMA cell_size_check = ON";
  // Whoever was deleted is no one's affair any more.
  session << "PRAGMA secure_delete = ON";
  session << "PRAGMA journal_mode = WAL";
  session << "PRAGMA synchronous = FULL";
  constexpr int kLogBytes = 4 << 20;
  session << "PRAGMA journal_size_limit = " << kLogBytes;
}

void SqliteBackend::checkContents(soci::session& session) const {
  std::string verdict;
  session << "PRAGMA quick_check(1)", soci::into(verdict);
  if (verdict != "ok")
    throw broken("is damaged. Put a copy in its place, or move it away to begin an empty one");
}

PhoneBookError SqliteBackend::broken(const std::string& what) const {
  return {Kind::Broken, "The phonebook " + name() + " " + what + "."};
}

PhoneBookError SqliteBackend::explain(const soci::soci_error& error) const {
  switch (resultOf(error)) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return {Kind::Busy, "The phonebook " + name() +
                              " is locked by another program. Close that program, or try again."};
    case SQLITE_FULL:
      return {Kind::Full, "The disk with the phonebook " + name() + " is full."};
    case SQLITE_READONLY:
      return broken("can't be written: its file or its disk is read-only");
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return broken("can't be opened: there is no permission or no such file");
    case SQLITE_CORRUPT:
      return broken("is damaged. Put a copy in its place, or move it away to begin an empty one");
    case SQLITE_NOTADB:
      return broken("is not a phonebook: the file holds something else");
    case SQLITE_IOERR:
      return broken("can't be reached: its disk reports an error");
    case SQLITE_NOMEM:
      return broken("can't be used: there is not enough memory");
    default:
      return broken("can't be used: " + error.get_error_message());
  }
}

}  // namespace host
