#include "host/push/JournalTable.h"

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>
#include <sstream>
#include <utility>

namespace host {
namespace {

constexpr std::chrono::seconds kServerTimeout{20};

using Texts = std::array<std::pair<const char*, std::string JournalEntry::*>, 5>;

/// The text columns.
constexpr Texts kTexts = {{{"peer", &JournalEntry::peer},
                           {"peer_name", &JournalEntry::peerName},
                           {"object", &JournalEntry::object},
                           {"link", &JournalEntry::link},
                           {"book", &JournalEntry::book}}};

/// An entry's texts in the form that the database stores.
std::array<std::string, kTexts.size()> storedTexts(const PhoneBookBackend& backend,
                                                   const JournalEntry& entry) {
  std::array<std::string, kTexts.size()> stored;
  for (std::size_t i = 0; i < kTexts.size(); ++i)
    stored[i] = backend.encode(entry.*kTexts[i].second);
  return stored;
}

std::string firstLineOf(const std::string& path) {
  std::string line;
  std::getline(std::ifstream(path), line);
  return line;
}

/// The start time of a process, from /proc/N/stat; empty if it doesn't exist.
std::string startTimeOf(const std::string& process) {
  std::string text = firstLineOf("/proc/" + process + "/stat");
  // The name in brackets may contain anything, even brackets; the time is the 20th word after it.
  const std::size_t end = text.rfind(')');
  if (end == std::string::npos) return "";
  std::istringstream words(text.substr(end + 1));
  std::string word;
  constexpr int kStartTime = 20;
  for (int i = 0; i < kStartTime && words >> word; ++i) continue;
  return words ? word : "";
}

/// Identifies a process uniquely: process numbers are only unique within a boot, at one time.
std::string processId(const std::string& process) {
  return firstLineOf("/etc/machine-id") + "/" + firstLineOf("/proc/sys/kernel/random/boot_id") +
         "/" + process + "/" + startTimeOf(process);
}

std::string thisPhone() {
  const passwd* const user = getpwuid(geteuid());  // NOLINT(concurrency-mt-unsafe): one thread.
  utsname machine = {};
  ::uname(&machine);
  return (user != nullptr ? user->pw_name : std::to_string(geteuid())) + "@" + machine.nodename;
}

/// The position after the process id in a run id.
std::size_t endOfProcessId(const std::string& run) {
  constexpr int kParts = 4;
  std::size_t end = run.find('/');
  for (int part = 1; part < kParts && end != std::string::npos; ++part)
    end = run.find('/', end + 1);
  return end;
}

void run(soci::statement& statement, const std::string& text) {
  statement.alloc();
  statement.prepare(text);
  statement.define_and_bind();
  statement.execute(true);
}

}  // namespace

std::string runId() { return processId(std::to_string(getpid())) + "/" + thisPhone(); }

std::string phoneOfRun(const std::string& run) {
  const std::size_t end = endOfProcessId(run);
  return end == std::string::npos ? "" : run.substr(end + 1);
}

bool hasEnded(const std::string& run) {
  std::istringstream parts(run);
  std::string machine;
  std::string boot;
  std::string process;
  std::getline(parts, machine, '/');
  std::getline(parts, boot, '/');
  std::getline(parts, process, '/');
  if (machine != firstLineOf("/etc/machine-id")) return false;
  if (process.empty() || process.find_first_not_of("0123456789") != std::string::npos) return false;
  return run.substr(0, endOfProcessId(run)) != processId(process);
}

JournalTable::JournalTable(const std::string& connection, std::string run, long long maxRows)
    : m_backend(PhoneBookBackend::create(connection, kServerTimeout)),
      m_run(std::move(run)),
      m_maxRows(maxRows) {}

JournalTable::~JournalTable() = default;

template <typename Work>
void JournalTable::guarded(const Work& work) {
  try {
    if (m_session && m_backend->hasMoved(*m_session)) m_session.reset();
    if (!m_session) open();
    const auto watch = m_backend->watch(*m_session);
    work();
  } catch (const soci::soci_error& error) {
    m_session.reset();
    throw m_backend->explain(error);
  } catch (...) {
    m_session.reset();
    throw;
  }
}

void JournalTable::open() {
  m_session = std::make_unique<soci::session>();
  m_backend->connect(*m_session);
  const std::string text = " " + m_backend->textType() + " NOT NULL DEFAULT ''";
  std::string columns;
  for (const auto& [name, member] : kTexts) columns += std::string(", ") + name + text;
  // `claim` serialises telephones that create the table at the same time.
  soci::transaction transaction(*m_session);
  m_backend->lockForWriting(*m_session);
  *m_session << "CREATE TABLE IF NOT EXISTS " << kJournalTable << " (id " << m_backend->idType()
             << ", run" << text
             << ", number BIGINT NOT NULL, time BIGINT NOT NULL, size BIGINT NOT "
             << "NULL" << columns << ")";
  transaction.commit();
}

void JournalTable::write(const std::vector<JournalEntry>& entries) {
  guarded([&] {
    soci::transaction transaction(*m_session);
    m_backend->lockForWriting(*m_session);
    for (const JournalEntry& entry : entries) writeOne(entry);
    *m_session << "DELETE FROM " << kJournalTable << " WHERE id <= (SELECT MAX(id) FROM "
               << kJournalTable << ") - :rows",
        soci::use(m_maxRows, "rows");
    transaction.commit();
    m_backend->afterCommit(*m_session);
  });
}

void JournalTable::writeOne(const JournalEntry& entry) {
  if (!update(entry)) insert(entry);
}

bool JournalTable::update(const JournalEntry& entry) {
  const auto stored = storedTexts(*m_backend, entry);
  std::string changes = "size = :size";
  soci::statement statement(*m_session);
  statement.exchange(soci::use(entry.size, "size"));
  for (std::size_t i = 0; i < kTexts.size(); ++i) {
    const std::string name = kTexts[i].first;
    statement.exchange(soci::use(stored[i], name));
    changes += ", " + name + " = " + m_backend->parameter(name);
  }
  const std::string of = m_backend->encode(m_run);
  statement.exchange(soci::use(of, "run"));
  statement.exchange(soci::use(entry.number, "number"));
  run(statement, std::string("UPDATE ") + kJournalTable + " SET " + changes +
                     " WHERE run = " + m_backend->parameter("run") + " AND number = :number");
  return statement.get_affected_rows() > 0;
}

void JournalTable::insert(const JournalEntry& entry) {
  const auto stored = storedTexts(*m_backend, entry);
  const std::string of = m_backend->encode(m_run);
  const long long time = entry.time;
  std::string names = "run, number, time, size";
  std::string values = m_backend->parameter("run") + ", :number, :time, :size";
  soci::statement statement(*m_session);
  statement.exchange(soci::use(of, "run"));
  statement.exchange(soci::use(entry.number, "number"));
  statement.exchange(soci::use(time, "time"));
  statement.exchange(soci::use(entry.size, "size"));
  for (std::size_t i = 0; i < kTexts.size(); ++i) {
    const std::string name = kTexts[i].first;
    statement.exchange(soci::use(stored[i], name));
    names += ", " + name;
    values += ", " + m_backend->parameter(name);
  }
  run(statement,
      std::string("INSERT INTO ") + kJournalTable + " (" + names + ") VALUES (" + values + ")");
}

std::vector<JournalEntry> JournalTable::read(int limit) {
  std::vector<JournalEntry> entries;
  guarded([&] {
    JournalEntry entry;
    long long time = 0;
    std::string names = "number, time, size, " + m_backend->selected("run");
    soci::statement statement(*m_session);
    statement.exchange(soci::into(entry.number));
    statement.exchange(soci::into(time));
    statement.exchange(soci::into(entry.size));
    statement.exchange(soci::into(entry.phone));
    for (const auto& [name, member] : kTexts) {
      statement.exchange(soci::into(entry.*member));
      names += ", " + m_backend->selected(name);
    }
    statement.exchange(soci::use(limit, "rows"));
    statement.alloc();
    statement.prepare("SELECT " + names + " FROM " + kJournalTable +
                      " ORDER BY id DESC LIMIT :rows");
    statement.define_and_bind();
    statement.execute();
    while (statement.fetch()) {
      JournalEntry whole = entry;
      whole.time = time;
      m_backend->decode(whole.phone);
      whole.phone = phoneOfRun(whole.phone);
      for (const auto& [name, member] : kTexts) m_backend->decode(whole.*member);
      entries.push_back(std::move(whole));
    }
  });
  return entries;
}

std::vector<std::string> JournalTable::waitingRuns() {
  std::vector<std::string> runs;
  guarded([&] {
    std::string found;
    const std::string waiting = m_backend->encode(kBookWaiting);
    soci::statement statement(*m_session);
    statement.exchange(soci::into(found));
    statement.exchange(soci::use(waiting, "book"));
    statement.alloc();
    statement.prepare("SELECT DISTINCT " + m_backend->selected("run") + " FROM " + kJournalTable +
                      " WHERE book = " + m_backend->parameter("book"));
    statement.define_and_bind();
    statement.execute();
    while (statement.fetch()) {
      runs.push_back(found);
      m_backend->decode(runs.back());
    }
  });
  return runs;
}

void JournalTable::giveUp(const std::string& lost) {
  guarded([&] {
    const std::string of = m_backend->encode(lost);
    const std::string waiting = m_backend->encode(kBookWaiting);
    const std::string verdict = m_backend->encode(kBookLost);
    soci::statement statement(*m_session);
    statement.exchange(soci::use(verdict, "verdict"));
    statement.exchange(soci::use(of, "run"));
    statement.exchange(soci::use(waiting, "book"));
    run(statement, std::string("UPDATE ") + kJournalTable +
                       " SET book = " + m_backend->parameter("verdict") + " WHERE run = " +
                       m_backend->parameter("run") + " AND book = " + m_backend->parameter("book"));
    m_backend->afterCommit(*m_session);
  });
}

}  // namespace host
