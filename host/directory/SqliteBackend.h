#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

#include "host/directory/PhoneBookBackend.h"

namespace host {

/// A phonebook in a file. It is readable by its owner only, and a commit is on the disk when it
/// returns. The write-ahead log is emptied into the file after each write, unless someone reads at
/// that moment, so that the file is whole by itself.
class SqliteBackend : public PhoneBookBackend {
 public:
  /// A relative path is taken from the working folder of now.
  explicit SqliteBackend(const std::string& path);

  void connect(soci::session& session) override;
  bool connectToLook(soci::session& session) override;
  void settle(soci::session& session) override;
  bool hasMoved(soci::session& session) const override;
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
  void openFileToLook(soci::session& session) const;
  void configure(soci::session& session) const;
  void checkContents(soci::session& session) const;
  PhoneBookError broken(const std::string& what) const;

  std::filesystem::path m_path;
  dev_t m_device = 0;
  ino_t m_inode = 0;
};

}  // namespace host
