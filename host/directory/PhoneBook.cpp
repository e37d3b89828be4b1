#include "host/directory/PhoneBook.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "host/directory/DirectoryRequest.h"
#include "host/directory/DirectoryResponse.h"

namespace host {

namespace {

using Kind = PhoneBookError::Kind;

// Between two attempts to get a lock.
constexpr std::chrono::milliseconds kPause{5};

void assign(cards::Card& card, const std::vector<ColumnValue>& values) {
  for (const ColumnValue& value : values) card.*cards::cardColumn(value.column).value = value.value;
}

bool matchesNothing(const std::vector<ColumnValue>& match) {
  return !match.empty() && std::all_of(match.begin(), match.end(), [](const ColumnValue& value) {
    return value.value.empty();
  });
}

}  // namespace

template <typename Work>
auto PhoneBook::translatingErrors(const Work& work) {
  // The watch ends with the call.
  const std::shared_ptr<void> end(nullptr, [this](void*) { m_watch.reset(); });
  try {
    try {
      return work();
    } catch (const soci::soci_error& error) {
      throw m_backend->explain(error);
    }
  } catch (const PhoneBookError& problem) {
    if (problem.kind() == Kind::kBroken || problem.kind() == Kind::kLost) m_broken = true;
    throw;
  }
}

// SQLite doesn't wait for every lock (not for the change of the journal mode, for one), so waiting
// is done here: what failed is repeated as a whole until the timeout. After a lost connection, to a
// server that was restarted maybe, it is repeated once.
template <typename Work>
auto PhoneBook::retryingWhileBusy(const Work& work) {
  const auto deadline = std::chrono::steady_clock::now() + m_options.busyTimeout;
  bool mayReconnect = true;
  for (;;) {
    try {
      return translatingErrors(work);
    } catch (const PhoneBookError& problem) {
      const bool late = std::chrono::steady_clock::now() >= deadline;
      const bool again = problem.kind() == Kind::kLost ? std::exchange(mayReconnect, false)
                                                       : problem.kind() == Kind::kBusy && !late;
      if (!again) throw;
    }
    std::this_thread::sleep_for(kPause);
  }
}

template <typename Work>
bool PhoneBook::change(const Work& work) {
  const bool changed = retryingWhileBusy([&] {
    soci::transaction transaction(session());
    m_backend->lockForWriting(*m_session);
    EntryTable table(*m_session, *m_backend);
    if (!work(table)) return false;
    commit(transaction);
    return true;
  });
  if (changed) m_backend->afterCommit(*m_session);
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
  retryingWhileBusy([this] { session(); });
}

PhoneBook::~PhoneBook() = default;

bool PhoneBook::exists(const PhoneBookOptions& options) {
  const auto backend = PhoneBookBackend::create(options.connection, options.serverTimeout);
  try {
    soci::session session;
    if (!backend->connectReadOnly(session)) return false;
    const auto watch = backend->watch(session);
    EntryTable tables(session, *backend);
    if (!tables.exists()) return false;
    tables.checkVersion();
    return true;
  } catch (const soci::soci_error& error) {
    throw backend->explain(error);
  }
}

void PhoneBook::read(const std::vector<Column>& columns, const std::vector<ColumnValue>& match,
                     const EntryReader& reader) {
  if (matchesNothing(match)) return;
  std::unique_ptr<EntryTable::Query> query;
  // Retries end with the first entry: it must not be reported twice.
  bool more = retryingWhileBusy([&] {
    query.reset();
    checkAnswer(columns, match);
    query = std::make_unique<EntryTable::Query>(session(), *m_backend, columns, match);
    return query->next();
  });
  while (more) {
    reader(query->values());
    more = translatingErrors([&] { return query->next(); });
  }
}

// Refuses an answer that would be too large before the client library loads all of it into memory.
void PhoneBook::checkAnswer(const std::vector<Column>& columns,
                            const std::vector<ColumnValue>& match) {
  soci::session& database = session();
  if (!m_backend->buffersResults()) return;
  const long long bytes = EntryTable(database, *m_backend).bytesOfMatching(columns, match);
  if (static_cast<std::uint64_t>(bytes) > DirectoryResponse::kMaxBytes)
    throw DirectoryRefusal(DirectoryResponse::kTooLarge);
}

long long PhoneBook::write(const std::vector<ColumnValue>& entry) {
  cards::Card card;
  assign(card, entry);
  long long id = 0;
  change([&](EntryTable& table) {
    id = table.insert(card);
    checkRoom(table);
    return true;
  });
  return id;
}

bool PhoneBook::update(long long id, const std::vector<ColumnValue>& texts) {
  return change([&](EntryTable& table) {
    const bool found = table.lock(id);
    if (found) replace(table, id, texts);
    return found;
  });
}

bool PhoneBook::remove(long long id) {
  return change([&](EntryTable& table) { return table.remove(id); });
}

// An update that doesn't grow the entry is allowed even in a phonebook that exceeds its limits,
// which may have been lowered.
void PhoneBook::replace(EntryTable& table, long long id, const std::vector<ColumnValue>& texts) {
  cards::Card entry = table.read(id);
  const long long before = EntryTable::bytesOf(entry);
  assign(entry, texts);
  const long long after = EntryTable::bytesOf(entry);
  if (after == 0) throw DirectoryRefusal("The entry would have no value left; delete it instead.");
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
  EntryTable tables(*m_session, *m_backend);
  if (!tables.exists()) tables.create();
  tables.checkVersion();
  m_broken = false;
}

// Checked after the insert: from the first write on the transaction holds the lock, so that no
// other program can fill the phonebook in between.
void PhoneBook::checkRoom(EntryTable& table) const {
  const EntryTable::Totals totals = table.totals();
  if (static_cast<std::uint64_t>(totals.entries) > m_options.maxEntries)
    throw PhoneBookError(Kind::kFull, "The phonebook is full: it holds " +
                                          std::to_string(m_options.maxEntries) +
                                          " entries. Delete some to make room.");
  checkBytes(totals);
}

void PhoneBook::checkBytes(const EntryTable::Totals& totals) const {
  if (static_cast<std::uint64_t>(totals.bytes) > m_options.maxBytes)
    throw PhoneBookError(Kind::kFull, "The phonebook is full: its entries may have " +
                                          std::to_string(m_options.maxBytes) +
                                          " bytes in total. Delete some to make room.");
}

}  // namespace host
