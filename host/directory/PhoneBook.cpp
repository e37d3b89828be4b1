#include "host/directory/PhoneBook.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "host/directory/DirectoryRefusal.h"
#include "host/directory/DirectoryRequest.h"
#include "host/directory/DirectoryResponse.h"
#include "host/directory/Schema.h"

namespace host {

namespace {

using Kind = PhoneBookError::Kind;

// Between two attempts to get a lock.
constexpr std::chrono::milliseconds kPause{5};

constexpr std::size_t indexOf(Column column) { return static_cast<std::size_t>(column); }

bool matchesNothing(const std::vector<ColumnValue>& match) {
  return !match.empty() && std::all_of(match.begin(), match.end(), [](const ColumnValue& value) {
    return value.value.empty();
  });
}

}  // namespace

template <typename Work>
auto PhoneBook::guarded(const Work& work) {
  const std::unique_ptr<PhoneBook, void (*)(PhoneBook*)> end(
      this, [](PhoneBook* self) { self->m_watch.reset(); });
  try {
    try {
      return work();
    } catch (const soci::soci_error& error) {
      throw m_backend->explain(error);
    }
  } catch (const PhoneBookError& problem) {
    if (problem.kind() == Kind::Broken || problem.kind() == Kind::Lost) m_broken = true;
    throw;
  }
}

// The database could wait by itself for most locks, but not for all: it gives up at once where two
// change the kind of log, for one. So it never waits for long, and whatever failed is done anew as
// a whole; after a lost connection once, which may be that of a server that has been started anew.
template <typename Work>
auto PhoneBook::whenFree(const Work& work) {
  const auto deadline = std::chrono::steady_clock::now() + m_options.busyTimeout;
  bool mayReconnect = true;
  for (;;) {
    try {
      return guarded(work);
    } catch (const PhoneBookError& problem) {
      const bool late = std::chrono::steady_clock::now() >= deadline;
      const bool again = problem.kind() == Kind::Lost ? std::exchange(mayReconnect, false)
                                                      : problem.kind() == Kind::Busy && !late;
      if (!again) throw;
    }
    std::this_thread::sleep_for(kPause);
  }
}

template <typename Work>
bool PhoneBook::change(const Work& work) {
  const bool changed = whenFree([&] {
    soci::transaction transaction(session());
    m_backend->claim(*m_session);
    EntryTable table(*m_session, *m_backend);
    if (!work(table)) return false;
    commit(transaction);
    return true;
  });
  if (changed) m_backend->settle(*m_session);
  return changed;
}

void PhoneBook::commit(soci::transaction& transaction) {
  try {
    transaction.commit();
  } catch (const soci::soci_error& error) {
    throw m_backend->explainCommit(error);
  }
}

PhoneBook::PhoneBook(PhoneBookOptions options)
    : m_options(std::move(options)),
      m_backend(PhoneBookBackend::create(m_options.connection, m_options.serverTimeout)) {
  whenFree([this] { session(); });
}

PhoneBook::~PhoneBook() = default;

void PhoneBook::read(const std::vector<Column>& columns, const std::vector<ColumnValue>& match,
                     const EntryReader& reader) {
  if (matchesNothing(match)) return;
  std::unique_ptr<EntryTable::Query> query;
  // Once an entry has been handed over nothing may begin anew.
  bool more = whenFree([&] {
    query.reset();
    checkAnswer(columns, match);
    query = std::make_unique<EntryTable::Query>(session(), *m_backend, columns, match);
    return query->next();
  });
  while (more) {
    reader(query->values());
    more = guarded([&] { return query->next(); });
  }
}

// An answer that would be refused half way isn't fetched at all where it would be fetched as a
// whole.
void PhoneBook::checkAnswer(const std::vector<Column>& columns,
                            const std::vector<ColumnValue>& match) {
  soci::session& database = session();
  if (!m_backend->readsAtOnce()) return;
  const long long bytes = EntryTable(database, *m_backend).bytesOfMatching(columns, match);
  if (static_cast<std::uint64_t>(bytes) > DirectoryResponse::kMaxBytes)
    throw DirectoryRefusal(DirectoryResponse::kTooLarge);
}

long long PhoneBook::write(const std::vector<ColumnValue>& entry) {
  std::vector<std::string> values(kAllColumns.size());
  for (const ColumnValue& value : entry) values.at(indexOf(value.column)) = value.value;
  long long id = 0;
  change([&](EntryTable& table) {
    id = table.insert(values);
    checkRoom(table);
    return true;
  });
  return id;
}

bool PhoneBook::update(long long id, const std::vector<ColumnValue>& texts) {
  return change([&](EntryTable& table) {
    const bool there = table.claim(id);
    if (there) replace(table, id, texts);
    return there;
  });
}

bool PhoneBook::remove(long long id) {
  return change([&](EntryTable& table) { return table.remove(id); });
}

// A phonebook that is fuller than its limits, which may have been lowered, can still be made
// smaller.
void PhoneBook::replace(EntryTable& table, long long id, const std::vector<ColumnValue>& texts) {
  std::vector<std::string> values = table.valuesOf(id);
  const long long before = EntryTable::bytesOf(values);
  for (const ColumnValue& text : texts) values.at(indexOf(text.column)) = text.value;
  const long long after = EntryTable::bytesOf(values);
  if (after == 0) throw DirectoryRefusal("The entry would hold no value; delete it instead.");
  if (static_cast<std::uint64_t>(after) > DirectoryRequest::kMaxEntryBytes)
    throw DirectoryRefusal("The values of the entry would be larger than 8 MiB.");
  table.update(id, texts, after);
  if (after > before) checkBytes(table.totals());
}

soci::session& PhoneBook::session() {
  if (m_session && (m_broken || m_backend->hasMoved(*m_session))) {
    m_watch.reset();
    m_session.reset();
  }
  if (!m_session) connect();
  if (!m_watch) m_watch = m_backend->watch(*m_session);
  return *m_session;
}

void PhoneBook::connect() {
  m_broken = true;
  m_session = std::make_unique<soci::session>();
  m_backend->connect(*m_session);
  m_watch = m_backend->watch(*m_session);
  prepareTables();
  m_broken = false;
}

void PhoneBook::prepareTables() {
  Schema tables(*m_session, *m_backend);
  if (!tables.exist()) tables.create();
  tables.checkVersion();
}

// Asked after the insertion: a transaction that begins with a change has the lock from its first
// statement on, so that no one else can fill the phonebook in between.
void PhoneBook::checkRoom(EntryTable& table) const {
  const EntryTable::Totals totals = table.totals();
  if (static_cast<std::uint64_t>(totals.entries) > m_options.maxEntries)
    throw PhoneBookError(Kind::Full, "The phonebook is full: it holds " +
                                         std::to_string(m_options.maxEntries) + " entries.");
  checkBytes(totals);
}

void PhoneBook::checkBytes(const EntryTable::Totals& totals) const {
  if (static_cast<std::uint64_t>(totals.bytes) > m_options.maxBytes)
    throw PhoneBookError(Kind::Full, "The phonebook is full: its entries may have " +
                                         std::to_string(m_options.maxBytes) + " bytes together.");
}

}  // namespace host
