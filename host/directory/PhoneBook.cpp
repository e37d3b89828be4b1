#include "host/directory/PhoneBook.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <thread>
#include <utility>

namespace host {

namespace {

using Kind = PhoneBookError::Kind;

constexpr int kVersion = 1;
// Between two attempts to get a lock.
constexpr std::chrono::milliseconds kPause{5};

// In the order of the enumeration. "group" is a word of SQL.
constexpr std::array<std::string_view, kAllColumns.size()> kSqlNames = {
    "id",      "surname",     "firstname",     "office",  "office2",
    "mobile",  "private",     "email",         "address", "address2",
    "company", "jobfunction", "defaultnumber", "picture", "contact_group"};

constexpr std::size_t indexOf(Column column) { return static_cast<std::size_t>(column); }

std::string sqlName(Column column) { return std::string(kSqlNames.at(indexOf(column))); }

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (const std::string& part : parts) {
    if (!text.empty()) text.append(separator);
    text.append(part);
  }
  return text;
}

// Every column but the Id, each put between `before` and `after`.
std::string allTexts(std::string_view before, std::string_view after) {
  std::vector<std::string> parts;
  for (const Column column : kAllColumns) {
    if (column == Column::Id) continue;
    parts.push_back(std::string(before).append(sqlName(column)).append(after));
  }
  return joined(parts, ", ");
}

bool matchesNothing(const std::vector<ColumnValue>& match) {
  return !match.empty() && std::all_of(match.begin(), match.end(), [](const ColumnValue& value) {
    return value.value.empty();
  });
}

}  // namespace

/// A running SELECT.
class PhoneBook::Query {
 public:
  Query(soci::session& session, const std::vector<Column>& columns,
        const std::vector<ColumnValue>& match)
      : m_values(columns.size()), m_statement(session) {
    for (std::string& value : m_values) m_statement.exchange(soci::into(value));
    for (const ColumnValue& wanted : match) bind(wanted);
    m_statement.alloc();
    m_statement.prepare(textOf(columns, match));
    m_statement.define_and_bind();
    m_statement.execute();
  }

  /// False when there are no more entries.
  bool next() { return m_statement.fetch(); }
  const std::vector<std::string>& values() const { return m_values; }

 private:
  void bind(const ColumnValue& wanted) {
    if (wanted.column == Column::Id) {
      m_id = std::stoll(wanted.value);
      m_statement.exchange(soci::use(m_id, sqlName(wanted.column)));
    } else {
      m_statement.exchange(soci::use(wanted.value, sqlName(wanted.column)));
    }
  }

  static std::string textOf(const std::vector<Column>& columns,
                            const std::vector<ColumnValue>& match) {
    std::vector<std::string> names;
    names.reserve(columns.size());
    for (const Column column : columns) names.push_back(sqlName(column));
    std::vector<std::string> conditions;
    conditions.reserve(match.size());
    for (const ColumnValue& wanted : match)
      conditions.push_back(sqlName(wanted.column).append(" = :").append(sqlName(wanted.column)));
    std::string text = "SELECT " + joined(names, ", ") + " FROM entries";
    if (!conditions.empty()) text += " WHERE " + joined(conditions, " AND ");
    return text + " ORDER BY id";
  }

  std::vector<std::string> m_values;
  long long m_id = 0;
  soci::statement m_statement;
};

template <typename Work>
auto PhoneBook::guarded(const Work& work) {
  try {
    try {
      return work();
    } catch (const soci::soci_error& error) {
      throw m_backend->explain(error);
    }
  } catch (const PhoneBookError& problem) {
    if (problem.kind() == Kind::Broken) m_broken = true;
    throw;
  }
}

// The database could wait by itself for most locks, but not for all: it gives up at once where two
// change the kind of log, for one. So it never waits, and whatever failed is done anew as a whole.
template <typename Work>
auto PhoneBook::whenFree(const Work& work) {
  const auto deadline = std::chrono::steady_clock::now() + m_options.busyTimeout;
  for (;;) {
    try {
      return guarded(work);
    } catch (const PhoneBookError& problem) {
      const bool late = std::chrono::steady_clock::now() >= deadline;
      if (problem.kind() != Kind::Busy || late) throw;
    }
    std::this_thread::sleep_for(kPause);
  }
}

PhoneBook::PhoneBook(PhoneBookOptions options)
    : m_options(std::move(options)), m_backend(PhoneBookBackend::create(m_options.connection)) {
  whenFree([this] { session(); });
}

PhoneBook::~PhoneBook() = default;

void PhoneBook::read(const std::vector<Column>& columns, const std::vector<ColumnValue>& match,
                     const EntryReader& reader) {
  if (matchesNothing(match)) return;
  std::unique_ptr<Query> query;
  // Once an entry has been handed over nothing may begin anew.
  bool more = whenFree([&] {
    query.reset();
    query = std::make_unique<Query>(session(), columns, match);
    return query->next();
  });
  while (more) {
    reader(query->values());
    more = guarded([&] { return query->next(); });
  }
}

long long PhoneBook::write(const std::vector<ColumnValue>& entry) {
  std::vector<std::string> values(kAllColumns.size());
  long long bytes = 0;
  for (const ColumnValue& value : entry) {
    values.at(indexOf(value.column)) = value.value;
    bytes += static_cast<long long>(value.value.size());
  }
  const long long id = whenFree([&] {
    soci::transaction transaction(session());
    const long long given = insert(values, bytes);
    checkRoom();
    transaction.commit();
    return given;
  });
  m_backend->settle(*m_session);
  return id;
}

soci::session& PhoneBook::session() {
  if (m_session && (m_broken || m_backend->hasMoved())) m_session.reset();
  if (!m_session) connect();
  return *m_session;
}

void PhoneBook::connect() {
  m_broken = true;
  m_session = std::make_unique<soci::session>();
  m_backend->connect(*m_session);
  prepareTables();
  m_broken = false;
}

void PhoneBook::prepareTables() {
  bool known = false;
  bool foreign = false;
  std::string table;
  {
    soci::statement tables = (m_session->prepare_table_names(), soci::into(table));
    tables.execute();
    while (tables.fetch()) {
      known = known || table == "phonebook_version";
      foreign = foreign || !table.starts_with("sqlite_");
    }
  }
  if (!known && foreign)
    throw PhoneBookError(Kind::Broken, "The database " + m_backend->name() +
                                           " is not a phonebook: it holds other tables.");
  if (!known) createTables();
  checkVersion();
}

// Two processes may come here at a time with the same new file; the first statement makes one wait.
void PhoneBook::createTables() {
  soci::transaction transaction(*m_session);
  *m_session << "CREATE TABLE IF NOT EXISTS phonebook_version (version INTEGER NOT NULL)";
  int rows = 0;
  *m_session << "SELECT COUNT(*) FROM phonebook_version", soci::into(rows);
  if (rows == 0) {
    *m_session << "CREATE TABLE entries (id " << m_backend->idType()
               << ", size INTEGER NOT NULL DEFAULT 0, " << allTexts("", " TEXT NOT NULL DEFAULT ''")
               << ")";
    *m_session << "CREATE INDEX entries_name ON entries (surname, firstname)";
    *m_session << "CREATE INDEX entries_size ON entries (size)";
    *m_session << "INSERT INTO phonebook_version (version) VALUES (:version)",
        soci::use(kVersion, "version");
  }
  transaction.commit();
}

void PhoneBook::checkVersion() {
  int version = 0;
  *m_session << "SELECT version FROM phonebook_version", soci::into(version);
  if (version == kVersion) return;
  const std::string what =
      version > kVersion
          ? "was made by a newer version of this program. Update this one, or use another file."
          : "says nothing of a version that this program knows.";
  throw PhoneBookError(Kind::Broken, "The phonebook " + m_backend->name() + " " + what);
}

long long PhoneBook::insert(const std::vector<std::string>& values, long long bytes) {
  long long id = 0;
  soci::statement statement(*m_session);
  statement.exchange(soci::into(id));
  statement.exchange(soci::use(bytes, "size"));
  for (const Column column : kAllColumns) {
    if (column == Column::Id) continue;
    statement.exchange(soci::use(values.at(indexOf(column)), sqlName(column)));
  }
  statement.alloc();
  statement.prepare("INSERT INTO entries (size, " + allTexts("", "") + ") VALUES (:size, " +
                    allTexts(":", "") + ") RETURNING id");
  statement.define_and_bind();
  statement.execute(true);
  return id;
}

// Asked after the insertion: a transaction that begins with a change has the lock from its first
// statement on, so that no one else can fill the phonebook in between.
void PhoneBook::checkRoom() {
  long long entries = 0;
  long long bytes = 0;
  *m_session << "SELECT COUNT(*), COALESCE(SUM(size), 0) FROM entries", soci::into(entries),
      soci::into(bytes);
  if (static_cast<std::uint64_t>(entries) > m_options.maxEntries)
    throw PhoneBookError(Kind::Full, "The phonebook is full: it holds " +
                                         std::to_string(m_options.maxEntries) + " entries.");
  if (static_cast<std::uint64_t>(bytes) > m_options.maxBytes)
    throw PhoneBookError(Kind::Full, "The phonebook is full: its entries may have " +
                                         std::to_string(m_options.maxBytes) + " bytes together.");
}

}  // namespace host
