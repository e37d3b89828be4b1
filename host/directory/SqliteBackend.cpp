#include <fcntl.h>
#include <glib.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include "host/directory/PhoneBookBackend.h"

namespace host {

namespace {

using Kind = PhoneBookError::Kind;
namespace fs = std::filesystem;

constexpr const char* kDamaged =
    "is damaged. Restore a backup, or move it away to start with an empty one";

std::string reasonOf(int error) { return std::generic_category().message(error); }

// A new directory entry is durable once its folder is synced.
void syncFolder(const fs::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  ::fsync(descriptor);
  ::close(descriptor);
}

bool fileExists(const fs::path& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0;
}

PhoneBookError cannotCreate(const fs::path& folder) {
  return {Kind::kBroken, "The phonebook's folder " + folder.string() +
                             " can't be created: " + reasonOf(errno) + "."};
}

// The folder itself, or its closest ancestor that exists.
fs::path existingFolder(const fs::path& folder) {
  struct stat status = {};
  if (::stat(folder.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return folder;
    errno = ENOTDIR;
  }
  if (errno != ENOENT || !folder.has_relative_path())
    throw PhoneBookError(Kind::kBroken, "The phonebook's folder " + folder.string() +
                                            " can't be reached: " + reasonOf(errno) + ".");
  return existingFolder(folder.parent_path());
}

void createFolders(const fs::path& folder) {
  if (existingFolder(folder) == folder) return;
  createFolders(folder.parent_path());
  if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) throw cannotCreate(folder);
  syncFolder(folder.parent_path());
}

// As part of a URI.
std::string escaped(const std::string& path) {
  const std::unique_ptr<char, decltype(&g_free)> text(
      g_uri_escape_string(path.c_str(), "/", /*allow_utf8=*/FALSE), g_free);
  return text.get();
}

int resultOf(const soci::soci_error& error) {
  const auto* const failed = dynamic_cast<const soci::sqlite3_soci_error*>(&error);
  constexpr int kExtendedBits = 8;
  return failed == nullptr ? SQLITE_ERROR : failed->result() & ((1 << kExtendedBits) - 1);
}

/// A phonebook in a file that only its owner can read. A commit is on disk when it returns. After
/// each commit the write-ahead log is copied into the file, unless another program is reading, so
/// that the file alone is a complete copy.
class SqliteBackend : public PhoneBookBackend {
 public:
  /// A relative path is relative to the current working directory.
  explicit SqliteBackend(const std::string& path) : m_path(fs::absolute(path)) {}

  void connect(soci::session& session) override;
  bool connectReadOnly(soci::session& session) override;
  bool hasMoved(soci::session& session) const override;
  void afterCommit(soci::session& session) const override;
  PhoneBookError explain(const soci::soci_error& error) const override;
  std::string tablesQuery() const override;
  std::string idType() const override { return "INTEGER PRIMARY KEY AUTOINCREMENT"; }
  std::vector<std::string> indexes() const override {
    return {"entries_name ON entries (surname, firstname)", "entries_size ON entries (size)"};
  }
  std::string name() const override { return m_path.string(); }

 private:
  void checkName() const;
  void checkPlace() const;
  void openFile(soci::session& session) const;
  void openFileReadOnly(soci::session& session) const;
  void configure(soci::session& session) const;
  void checkContents(soci::session& session) const;
  PhoneBookError broken(const std::string& what) const;

  fs::path m_path;
  dev_t m_device = 0;
  ino_t m_inode = 0;
};

void SqliteBackend::connect(soci::session& session) {
  checkName();
  createFolders(m_path.parent_path());
  checkPlace();
  openFile(session);
  configure(session);
  checkContents(session);
  struct stat status = {};
  if (::stat(m_path.c_str(), &status) != 0) throw broken("vanished while it was being opened");
  m_device = status.st_dev;
  m_inode = status.st_ino;
}

bool SqliteBackend::connectReadOnly(soci::session& session) {
  checkName();
  const fs::path folder = existingFolder(m_path.parent_path());
  if (folder != m_path.parent_path()) {
    if (::access(folder.c_str(), W_OK | X_OK) != 0) throw cannotCreate(m_path.parent_path());
    return false;
  }
  checkPlace();
  if (!fileExists(m_path)) return false;
  openFileReadOnly(session);
  checkContents(session);
  return true;
}

// A copy of the file alone would lack what is only in the log, and a stale log would corrupt a file
// that replaces this one.
void SqliteBackend::afterCommit(soci::session& session) const {
  try {
    session << "PRAGMA wal_checkpoint(TRUNCATE)";
  } catch (const soci::soci_error&) {
    // The disk is full or someone is reading: the entries stay in the log until the next commit.
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
    throw broken("can't be opened: its path contains a quotation mark");
}

void SqliteBackend::checkPlace() const {
  // SQLite creates the log next to the file.
  if (::access(m_path.parent_path().c_str(), W_OK | X_OK) != 0)
    throw broken("can't be written: no write access to its folder (" + reasonOf(errno) + ")");
  struct stat status = {};
  if (::stat(m_path.c_str(), &status) != 0) return;
  if (!S_ISREG(status.st_mode)) throw broken("is not a file");
  // SQLite would silently open an unwritable file read-only.
  if (::access(m_path.c_str(), R_OK | W_OK) != 0)
    throw broken("can't be read and written: " + reasonOf(errno));
}

void SqliteBackend::openFile(soci::session& session) const {
  // Not opened by hand: close() drops the POSIX locks of every connection of this process.
  const bool isNew = !fileExists(m_path);
  session.open(soci::sqlite3, "db=\"" + m_path.string() + "\"");
  if (!isNew) return;
  // The file is still empty; SQLite gives its mode to the log and the log's index.
  if (::chmod(m_path.c_str(), S_IRUSR | S_IWUSR) != 0)
    throw broken("can't be restricted to its owner: " + reasonOf(errno));
  syncFolder(m_path.parent_path());
}

// Even a reader creates the log's files if they are missing. A database without a log is not in use
// and can be opened as immutable instead, which creates nothing.
void SqliteBackend::openFileReadOnly(soci::session& session) const {
  const bool inUse = fileExists(m_path.string() + "-wal");
  session.open(soci::sqlite3, "db=\"file:" + escaped(m_path.string()) +
                                  (inUse ? "?mode=ro" : "?immutable=1") + "\" readonly=1");
  session << "PRAGMA trusted_schema = OFF";
  session << "PRAGMA cell_size_check = ON";
}

void SqliteBackend::configure(soci::session& session) const {
  // The file may come from anywhere: don't trust functions in its schema.
  session << "PRAGMA trusted_schema = OFF";
  session << "PRAGMA cell_size_check = ON";
  // Overwrite deleted entries.
  session << "PRAGMA secure_delete = ON";
  session << "PRAGMA journal_mode = WAL";
  session << "PRAGMA synchronous = FULL";
  constexpr int kLogBytes = 4 << 20;
  session << "PRAGMA journal_size_limit = " << kLogBytes;
}

void SqliteBackend::checkContents(soci::session& session) const {
  std::string verdict;
  session << "PRAGMA quick_check(1)", soci::into(verdict);
  if (verdict != "ok") throw broken(kDamaged);
}

PhoneBookError SqliteBackend::broken(const std::string& what) const {
  return {Kind::kBroken, "The phonebook " + name() + " " + what + "."};
}

PhoneBookError SqliteBackend::explain(const soci::soci_error& error) const {
  switch (resultOf(error)) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return {Kind::kBusy, "The phonebook " + name() +
                               " is locked by another program. Close that program, or try again."};
    case SQLITE_FULL:
      return {Kind::kFull, "The disk with the phonebook " + name() + " is full. Free some space."};
    case SQLITE_READONLY:
      return broken("can't be written: its file or its disk is read-only");
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return broken("can't be opened: permission denied or no such file");
    case SQLITE_CORRUPT:
      return broken(kDamaged);
    case SQLITE_NOTADB:
      return broken("is not a phonebook: the file contains something else");
    case SQLITE_IOERR:
      return broken("can't be reached: its disk reports an error");
    case SQLITE_NOMEM:
      return broken("can't be used: out of memory");
    default:
      return broken("can't be used: " + error.get_error_message());
  }
}

}  // namespace

std::unique_ptr<PhoneBookBackend> makeSqliteBackend(const std::string& path) {
  return std::make_unique<SqliteBackend>(path);
}

}  // namespace host
