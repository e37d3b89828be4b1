#include "host/directory/EntryTable.h"

#include <string_view>

namespace host {

namespace {

constexpr std::size_t indexOf(Column column) { return static_cast<std::size_t>(column); }

std::string sqlName(Column column) { return cards::cardColumn(column).sqlName; }

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (const std::string& part : parts) {
    if (!text.empty()) text.append(separator);
    text.append(part);
  }
  return text;
}

// What `part` makes of every column but the Id, divided by commas.
template <typename Part>
std::string allTexts(const Part& part) {
  std::vector<std::string> parts;
  for (const Column column : kAllColumns) {
    if (column != Column::Id) parts.push_back(part(sqlName(column)));
  }
  return joined(parts, ", ");
}

}  // namespace

void EntryTable::create() {
  const std::string type = m_backend.textType();
  m_session << "CREATE TABLE entries (id " << m_backend.idType()
            << ", size INTEGER NOT NULL DEFAULT 0, " << allTexts([&](const std::string& name) {
                 return name + " " + type + " NOT NULL DEFAULT ''";
               })
            << ")";
  for (const std::string& index : m_backend.indexes()) m_session << "CREATE INDEX " << index;
}

long long EntryTable::insert(const std::vector<std::string>& values) {
  std::vector<std::string> stored(values.size());
  const long long bytes = bytesOf(values);
  long long id = 0;
  soci::statement statement(m_session);
  statement.exchange(soci::into(id));
  statement.exchange(soci::use(bytes, "size"));
  for (const Column column : kAllColumns) {
    if (column == Column::Id) continue;
    std::string& value = stored.at(indexOf(column));
    value = m_backend.stored(values.at(indexOf(column)));
    statement.exchange(soci::use(value, sqlName(column)));
  }
  statement.alloc();
  statement.prepare("INSERT INTO entries (size, " +
                    allTexts([](const auto& name) { return name; }) + ") VALUES (:size, " +
                    allTexts([&](const auto& name) { return m_backend.parameter(name); }) +
                    ") RETURNING id");
  statement.define_and_bind();
  statement.execute(true);
  return id;
}

bool EntryTable::claim(long long id) {
  soci::statement statement =
      (m_session.prepare << "UPDATE entries SET size = size WHERE id = :id", soci::use(id, "id"));
  statement.execute(true);
  return statement.get_affected_rows() > 0;
}

std::vector<std::string> EntryTable::valuesOf(long long id) {
  Query query(m_session, m_backend, {kAllColumns.begin(), kAllColumns.end()},
              {{Column::Id, std::to_string(id)}});
  if (!query.next()) throw soci::soci_error("the entry has gone");
  return query.values();
}

void EntryTable::update(long long id, const std::vector<ColumnValue>& texts, long long bytes) {
  std::vector<std::string> stored;
  std::vector<std::string> changes = {"size = :size"};
  stored.reserve(texts.size());
  soci::statement statement(m_session);
  statement.exchange(soci::use(bytes, "size"));
  for (const ColumnValue& text : texts) {
    const std::string name = sqlName(text.column);
    stored.push_back(m_backend.stored(text.value));
    statement.exchange(soci::use(stored.back(), name));
    changes.push_back(name + " = " + m_backend.parameter(name));
  }
  statement.exchange(soci::use(id, "id"));
  statement.alloc();
  statement.prepare("UPDATE entries SET " + joined(changes, ", ") + " WHERE id = :id");
  statement.define_and_bind();
  statement.execute(true);
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
    if (column != Column::Id) sizes.push_back("octet_length(" + sqlName(column) + ")");
  }
  long long bytes = 0;
  Match wanted(m_backend, match);
  soci::statement statement(m_session);
  statement.exchange(soci::into(bytes));
  wanted.bind(statement);
  statement.alloc();
  statement.prepare("SELECT COALESCE(SUM(" + joined(sizes, " + ") + "), 0) FROM entries" +
                    wanted.condition());
  statement.define_and_bind();
  statement.execute(true);
  return bytes;
}

EntryTable::Totals EntryTable::totals() {
  Totals totals;
  m_session << "SELECT COUNT(*), COALESCE(SUM(size), 0) FROM entries", soci::into(totals.entries),
      soci::into(totals.bytes);
  return totals;
}

long long EntryTable::bytesOf(const std::vector<std::string>& values) {
  long long bytes = 0;
  for (const Column column : kAllColumns) {
    if (column != Column::Id) bytes += static_cast<long long>(values.at(indexOf(column)).size());
  }
  return bytes;
}

EntryTable::Match::Match(const PhoneBookBackend& backend, const std::vector<ColumnValue>& values)
    : m_backend(backend), m_values(values) {
  for (ColumnValue& value : m_values) {
    if (value.column == Column::Id) {
      m_id = std::stoll(value.value);
    } else {
      value.value = backend.stored(value.value);
    }
  }
}

void EntryTable::Match::bind(soci::statement& statement) {
  for (ColumnValue& value : m_values) {
    if (value.column == Column::Id) {
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
    const bool id = value.column == Column::Id;
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
    const bool id = column == Column::Id;
    names.push_back(id ? sqlName(column) : m_backend.selected(sqlName(column)));
  }
  return "SELECT " + joined(names, ", ") + " FROM entries" + m_match.condition() + " ORDER BY id";
}

bool EntryTable::Query::next() {
  if (!m_statement.fetch()) return false;
  for (std::size_t i = 0; i < m_columns.size(); ++i) {
    if (m_columns[i] != Column::Id) m_backend.restore(m_values[i]);
  }
  return true;
}

}  // namespace host
