#include "host/directory/EntryTable.h"

#include <span>
#include <string_view>

namespace host {

namespace {

using Kind = PhoneBookError::Kind;

constexpr int kVersion = 1;

std::string sqlName(Column column) { return cards::cardColumn(column).sqlName; }

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (const std::string& part : parts) {
    if (!text.empty()) text.append(separator);
    text.append(part);
  }
  return text;
}

constexpr auto textColumns() { return std::span(cards::kCardColumns).subspan<1>(); }

static_assert(cards::kCardColumns.front().column == Column::kId);

// `part` applied to the name of every text column, separated by commas.
template <typename Part>
std::string allTexts(const Part& part) {
  std::vector<std::string> parts;
  for (const cards::CardColumn& column : textColumns()) parts.push_back(part(column.sqlName));
  return joined(parts, ", ");
}

void runOnce(soci::statement& statement, const std::string& sql) {
  statement.alloc();
  statement.prepare(sql);
  statement.define_and_bind();
  statement.execute(true);
}

}  // namespace

bool EntryTable::exists() {
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
    throw PhoneBookError(Kind::kBroken, "The database " + m_backend.name() +
                                            " is not a phonebook: it contains other tables.");
  return known;
}

// Two processes may create the same phonebook at once; the lock makes one of them wait.
void EntryTable::create() {
  soci::transaction transaction(m_session);
  m_backend.lockForWriting(m_session);
  m_session << "CREATE TABLE IF NOT EXISTS phonebook_version (version INTEGER NOT NULL)";
  int rows = 0;
  m_session << "SELECT COUNT(*) FROM phonebook_version", soci::into(rows);
  if (rows == 0) {
    createEntries();
    m_session << "INSERT INTO phonebook_version (version) VALUES (:version)",
        soci::use(kVersion, "version");
  }
  transaction.commit();
}

void EntryTable::checkVersion() {
  int version = 0;
  m_session << "SELECT version FROM phonebook_version", soci::into(version);
  if (version == kVersion) return;
  const std::string what =
      version > kVersion
          ? "was created by a newer version of this program. Update the program, or use another "
            "phonebook."
          : "has no known version. Restore a backup, or use another phonebook.";
  throw PhoneBookError(Kind::kBroken, "The phonebook " + m_backend.name() + " " + what);
}

void EntryTable::createEntries() {
  const std::string type = m_backend.textType();
  m_session << "CREATE TABLE entries (id " << m_backend.idType()
            << ", size INTEGER NOT NULL DEFAULT 0, " << allTexts([&](const std::string& name) {
                 return name + " " + type + " NOT NULL DEFAULT ''";
               })
            << ")";
  for (const std::string& index : m_backend.indexes()) m_session << "CREATE INDEX " << index;
}

long long EntryTable::insert(const cards::Card& entry) {
  std::vector<std::string> encoded;
  encoded.reserve(textColumns().size());
  const long long bytes = bytesOf(entry);
  long long id = 0;
  soci::statement statement(m_session);
  statement.exchange(soci::into(id));
  statement.exchange(soci::use(bytes, "size"));
  for (const cards::CardColumn& column : textColumns()) {
    encoded.push_back(m_backend.encode(entry.*column.value));
    statement.exchange(soci::use(encoded.back(), column.sqlName));
  }
  runOnce(statement, "INSERT INTO entries (size, " +
                         allTexts([](const auto& name) { return name; }) + ") VALUES (:size, " +
                         allTexts([&](const auto& name) { return m_backend.parameter(name); }) +
                         ") RETURNING id");
  return id;
}

bool EntryTable::lock(long long id) {
  soci::statement statement =
      (m_session.prepare << "UPDATE entries SET size = size WHERE id = :id", soci::use(id, "id"));
  statement.execute(true);
  return statement.get_affected_rows() > 0;
}

cards::Card EntryTable::read(long long id) {
  Query query(m_session, m_backend, {kAllColumns.begin(), kAllColumns.end()},
              {{Column::kId, std::to_string(id)}});
  if (!query.next()) throw soci::soci_error("the entry has gone");
  cards::Card entry;
  for (const cards::CardColumn& column : cards::kCardColumns)
    entry.*column.value = query.values().at(static_cast<std::size_t>(column.column));
  return entry;
}

void EntryTable::update(long long id, const std::vector<ColumnValue>& texts, long long bytes) {
  std::vector<std::string> encoded;
  std::vector<std::string> changes = {"size = :size"};
  encoded.reserve(texts.size());
  soci::statement statement(m_session);
  statement.exchange(soci::use(bytes, "size"));
  for (const ColumnValue& text : texts) {
    const std::string name = sqlName(text.column);
    encoded.push_back(m_backend.encode(text.value));
    statement.exchange(soci::use(encoded.back(), name));
    changes.push_back(name + " = " + m_backend.parameter(name));
  }
  statement.exchange(soci::use(id, "id"));
  runOnce(statement, "UPDATE entries SET " + joined(changes, ", ") + " WHERE id = :id");
}

bool EntryTable::remove(long long id) {
  soci::statement statement =
      (m_session.prepare << "DELETE FROM entries WHERE id = :id", soci::use(id, "id"));
  statement.execute(true);
  return statement.get_affected_rows() > 0;
}

long long EntryTable::bytesOfMatching(const std::vector<Column>& columns,
                                      const std::vector<ColumnValue>& match) {
  std::vector<std::string> sizes = {"0"};
  for (const Column column : columns) {
    if (column != Column::kId) sizes.push_back("octet_length(" + sqlName(column) + ")");
  }
  long long bytes = 0;
  Match wanted(m_backend, match);
  soci::statement statement(m_session);
  statement.exchange(soci::into(bytes));
  wanted.bind(statement);
  runOnce(statement, "SELECT COALESCE(SUM(" + joined(sizes, " + ") + "), 0) FROM entries" +
                         wanted.condition());
  return bytes;
}

EntryTable::Totals EntryTable::totals() {
  Totals totals;
  m_session << "SELECT COUNT(*), COALESCE(SUM(size), 0) FROM entries", soci::into(totals.entries),
      soci::into(totals.bytes);
  return totals;
}

long long EntryTable::bytesOf(const cards::Card& entry) {
  long long bytes = 0;
  for (const cards::CardColumn& column : textColumns())
    bytes += static_cast<long long>((entry.*column.value).size());
  return bytes;
}

EntryTable::Match::Match(const PhoneBookBackend& backend, const std::vector<ColumnValue>& values)
    : m_backend(backend), m_values(values) {
  for (ColumnValue& value : m_values) {
    if (value.column == Column::kId) {
      m_id = std::stoll(value.value);
    } else {
      value.value = backend.encode(value.value);
    }
  }
}

void EntryTable::Match::bind(soci::statement& statement) {
  for (ColumnValue& value : m_values) {
    if (value.column == Column::kId) {
      statement.exchange(soci::use(m_id, sqlName(value.column)));
    } else {
      statement.exchange(soci::use(value.value, sqlName(value.column)));
    }
  }
}

std::string EntryTable::Match::condition() const {
  std::vector<std::string> conditions;
  conditions.reserve(m_values.size());
  for (const ColumnValue& value : m_values) {
    const std::string name = sqlName(value.column);
    const bool id = value.column == Column::kId;
    conditions.push_back(name + " = " + (id ? ":" + name : m_backend.parameter(name)));
  }
  return conditions.empty() ? "" : " WHERE " + joined(conditions, " AND ");
}

EntryTable::Query::Query(soci::session& session, const PhoneBookBackend& backend,
                         const std::vector<Column>& columns, const std::vector<ColumnValue>& match)
    : m_backend(backend),
      m_columns(columns),
      m_values(columns.size()),
      m_match(backend, match),
      m_statement(session) {
  for (std::string& value : m_values) m_statement.exchange(soci::into(value));
  m_match.bind(m_statement);
  m_statement.alloc();
  m_statement.prepare(text());
  m_statement.define_and_bind();
  m_statement.execute();
}

std::string EntryTable::Query::text() const {
  std::vector<std::string> names;
  names.reserve(m_columns.size());
  for (const Column column : m_columns) {
    const bool id = column == Column::kId;
    names.push_back(id ? sqlName(column) : m_backend.selected(sqlName(column)));
  }
  return "SELECT " + joined(names, ", ") + " FROM entries" + m_match.condition() + " ORDER BY id";
}

bool EntryTable::Query::next() {
  if (!m_statement.fetch()) return false;
  for (std::size_t i = 0; i < m_columns.size(); ++i) {
    if (m_columns[i] != Column::kId) m_backend.decode(m_values[i]);
  }
  return true;
}

}  // namespace host
