#include "host/directory/Schema.h"

#include "host/directory/EntryTable.h"

namespace host {

namespace {

using Kind = PhoneBookError::Kind;

constexpr int kVersion = 1;

}  // namespace

bool Schema::exist() {
  bool known = false;
  bool foreign = false;
  std::string table;
  soci::statement tables = (m_session.prepare << m_backend.tablesQuery(), soci::into(table));
  tables.execute();
  while (tables.fetch()) {
    known = known || table == "phonebook_version";
    foreign = foreign || table != kJournalTable;
  }
  if (!known && foreign)
    throw PhoneBookError(Kind::Broken, "The database " + m_backend.name() +
                                           " is not a phonebook: it holds other tables.");
  return known;
}

// Two processes may come here at a time with the same new file; the first statement makes one wait.
void Schema::create() {
  soci::transaction transaction(m_session);
  m_backend.claim(m_session);
  m_session << "CREATE TABLE IF NOT EXISTS phonebook_version (version INTEGER NOT NULL)";
  int rows = 0;
  m_session << "SELECT COUNT(*) FROM phonebook_version", soci::into(rows);
  if (rows == 0) {
    EntryTable(m_session, m_backend).create();
    m_session << "INSERT INTO phonebook_version (version) VALUES (:version)",
        soci::use(kVersion, "version");
  }
  transaction.commit();
}

void Schema::checkVersion() {
  int version = 0;
  m_session << "SELECT version FROM phonebook_version", soci::into(version);
  if (version == kVersion) return;
  const std::string what =
      version > kVersion
          ? "was made by a newer version of this program. Update this one, or use another file."
          : "says nothing of a version that this program knows.";
  throw PhoneBookError(Kind::Broken, "The phonebook " + m_backend.name() + " " + what);
}

}  // namespace host
