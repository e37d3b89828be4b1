#include <libpq-fe.h>
#include <poll.h>
#include <soci/postgresql/soci-postgresql.h>
#include <sys/socket.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "host/directory/PhoneBookBackend.h"

namespace host {

namespace {

using Kind = PhoneBookError::Kind;

// One lock for all telephones, released at the end of the transaction. The number is arbitrary, but
// the same in every telephone.
constexpr const char* kLock = "SELECT pg_advisory_xact_lock(7079771421)";
constexpr const char* kLocked = "is locked by another program. Close that program, or try again";
constexpr int kLockMilliseconds = 200;
// The watchdog fires later than the server's own timeout, which keeps the connection.
constexpr std::chrono::milliseconds kServersLead{1000};

constexpr const char* kDigits = "0123456789abcdef";

PGconn* connectionOf(soci::session& session) {
  return static_cast<soci::postgresql_session_backend*>(session.get_backend())->conn_;
}

void ignoreNotice(void*, const char*) {}

std::string stateOf(const soci::soci_error& error) {
  const auto* const failed = dynamic_cast<const soci::postgresql_soci_error*>(&error);
  return failed == nullptr ? "" : failed->sqlstate();
}

// Class 08: connection errors. 57P01 to 57P03: the server is shutting down or starting.
bool isLost(const std::string& state) {
  return state.starts_with("08") || state == "57P01" || state == "57P02" || state == "57P03";
}

// Reduces libpq's message about a failed connection, which has no password or value, to one line.
std::string oneLine(std::string text) {
  constexpr std::string_view kPreface = "Cannot establish connection to the database.";
  if (text.starts_with(kPreface)) text.erase(0, kPreface.size());
  std::string line;
  for (const char c : text) {
    const bool space = static_cast<unsigned char>(c) <= ' ';
    if (!space) line.push_back(c);
    if (space && !line.empty() && line.back() != ' ') line.push_back(' ');
  }
  while (!line.empty() && (line.back() == ' ' || line.back() == '.')) line.pop_back();
  return line;
}

int valueOf(char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; }

/// Shuts a socket down unless destroyed within a time, so that a blocked call on it returns with an
/// error: libpq has no timeout for a server that hangs with its connections open. The socket must
/// stay open meanwhile.
class SocketWatchdog {
 public:
  SocketWatchdog(int socket, std::chrono::milliseconds timeout)
      : m_socket(socket),
        m_deadline(std::chrono::steady_clock::now() + timeout),
        m_thread([this] { wait(); }) {}
  ~SocketWatchdog() {
    {
      const std::lock_guard<std::mutex> guard(m_mutex);
      m_done = true;
      m_changed.notify_all();
    }
    m_thread.join();
  }
  SocketWatchdog(const SocketWatchdog&) = delete;
  SocketWatchdog& operator=(const SocketWatchdog&) = delete;

 private:
  void wait() {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_changed.wait_until(lock, m_deadline, [this] { return m_done; }))
      ::shutdown(m_socket, SHUT_RDWR);
  }

  const int m_socket;
  const std::chrono::steady_clock::time_point m_deadline;
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_done = false;  ///< Guarded by m_mutex.
  std::thread m_thread;
};

/// A phonebook in a PostgreSQL database, which several telephones may share. Commits are as durable
/// as the server makes them.
///
/// Texts are `bytea`, which holds any bytes and compares them as such; they travel as hexadecimal
/// digits. Messages have the server's error code only, since its texts may quote values.
class PostgresBackend : public PhoneBookBackend {
 public:
  /// `uri` is "postgresql://..." as libpq takes it; what it leaves out comes from the environment
  /// (PGPASSFILE, PGPASSWORD, ...). Throws PhoneBookError when it is malformed.
  PostgresBackend(const std::string& uri, std::chrono::milliseconds timeout);

  void connect(soci::session& session) override;
  bool connectReadOnly(soci::session& session) override;
  std::shared_ptr<void> watch(soci::session& session) const override;
  bool hasMoved(soci::session& session) const override;
  void lockForWriting(soci::session& session) const override { session << kLock; }
  PhoneBookError explain(const soci::soci_error& error) const override;
  PhoneBookError explainCommit(const soci::soci_error& error) const override;
  bool buffersResults() const override { return true; }
  std::string tablesQuery() const override;
  std::string idType() const override { return "BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY"; }
  std::string textType() const override { return "BYTEA"; }
  std::vector<std::string> indexes() const override;
  std::string encode(const std::string& text) const override;
  void decode(std::string& value) const override;
  std::string parameter(const std::string& name) const override;
  std::string selected(const std::string& column) const override;
  std::string name() const override { return m_name; }

 private:
  void readUri(const std::string& uri);
  void setDefaults();
  std::string connectionText() const;
  void configure(soci::session& session) const;
  PhoneBookError problem(Kind kind, const std::string& what) const;

  const std::chrono::milliseconds m_timeout;
  std::map<std::string, std::string> m_options;  ///< by their libpq names
  std::string m_name;
};

PostgresBackend::PostgresBackend(const std::string& uri, std::chrono::milliseconds timeout)
    : m_timeout(timeout) {
  readUri(uri);
  const std::string host = m_options["host"];
  const std::string port = m_options["port"];
  // Most likely the password contains an unescaped "@" or "/".
  if (host.find('@') != std::string::npos || m_options["dbname"].find('@') != std::string::npos ||
      port.find_first_not_of("0123456789,") != std::string::npos)
    throw PhoneBookError(Kind::kBroken, "\"" + redactPassword(uri) +
                                            "\" names no server. In a password, write %40 for "
                                            "\"@\", %2F for \"/\" and %3A for \":\".");
  m_name = "postgresql://" + (m_options["user"].empty() ? "" : m_options["user"] + "@") + host +
           (port.empty() ? "" : ":" + port) + "/" + m_options["dbname"];
  setDefaults();
}

void PostgresBackend::readUri(const std::string& uri) {
  // libpq's own message is not used: it quotes the URI with the password.
  PQconninfoOption* const parsed = PQconninfoParse(uri.c_str(), nullptr);
  if (parsed == nullptr)
    throw PhoneBookError(Kind::kBroken, "\"" + redactPassword(uri) +
                                            "\" is not a PostgreSQL connection; write "
                                            "postgresql://user@host:port/database.");
  for (const PQconninfoOption* option = parsed; option->keyword != nullptr; ++option) {
    if (option->val != nullptr) m_options[option->keyword] = option->val;
  }
  PQconninfoFree(parsed);
}

// Bounds the time until a vanished server is noticed. The URI may override them.
void PostgresBackend::setDefaults() {
  for (const auto& [name, value] : std::initializer_list<std::pair<const char*, const char*>>{
           {"connect_timeout", "5"},
           {"keepalives_idle", "5"},
           {"keepalives_interval", "2"},
           {"keepalives_count", "3"},
           {"tcp_user_timeout", "10000"},
           {"fallback_application_name", "phone-host"}}) {
    m_options.try_emplace(name, value);
  }
  // Only ASCII is sent, and errors are reported by code.
  m_options["client_encoding"] = "SQL_ASCII";
}

std::string PostgresBackend::connectionText() const {
  std::string text;
  for (const auto& [name, value] : m_options) {
    if (value.empty()) continue;
    text += (text.empty() ? "" : " ") + name + "='";
    for (const char c : value) {
      if (c == '\'' || c == '\\') text.push_back('\\');
      text.push_back(c);
    }
    text.push_back('\'');
  }
  return text;
}

void PostgresBackend::connect(soci::session& session) {
  try {
    session.open(soci::postgresql, connectionText());
  } catch (const soci::soci_error& error) {
    throw problem(Kind::kBroken, "can't be reached: " + oneLine(error.get_error_message()));
  }
  PQsetNoticeProcessor(connectionOf(session), ignoreNotice, nullptr);
  configure(session);
}

bool PostgresBackend::connectReadOnly(soci::session& session) {
  connect(session);
  session << "SET default_transaction_read_only = on";
  return true;
}

void PostgresBackend::configure(soci::session& session) const {
  session << "SET lock_timeout = " << kLockMilliseconds;
  session << "SET statement_timeout = " << m_timeout.count();
  session << "SET idle_in_transaction_session_timeout = " << m_timeout.count();
  session << "SET default_transaction_isolation = 'read committed'";
}

std::shared_ptr<void> PostgresBackend::watch(soci::session& session) const {
  return std::make_shared<SocketWatchdog>(PQsocket(connectionOf(session)),
                                          m_timeout + kServersLead);
}

// A server sends nothing unasked but the notice that it closes the connection.
bool PostgresBackend::hasMoved(soci::session& session) const {
  PGconn* const connection = connectionOf(session);
  if (PQstatus(connection) != CONNECTION_OK) return true;
  pollfd waiting{PQsocket(connection), POLLIN, 0};
  if (::poll(&waiting, 1, 0) <= 0) return false;
  if (PQconsumeInput(connection) == 0) return true;
  return ::poll(&waiting, 1, 0) > 0;
}

PhoneBookError PostgresBackend::explain(const soci::soci_error& error) const {
  static const std::map<std::string, std::pair<Kind, const char*>, std::less<>> kKnown = {
      {"40001", {Kind::kBusy, kLocked}},
      {"40P01", {Kind::kBusy, kLocked}},
      {"55P03", {Kind::kBusy, kLocked}},
      {"57014", {Kind::kBroken, "can't be used: its server did not answer in time"}},
      {"53100", {Kind::kFull, "has no room: its server's disk is full. Free some space there"}},
      {"53200", {Kind::kBroken, "can't be used: its server is out of memory"}},
      {"25006", {Kind::kBroken, "can't be written: its server is read-only"}},
      {"42501",
       {Kind::kBroken,
        "can't be used: its user lacks permission. Grant the user all rights on it"}},
      {"3F000", {Kind::kBroken, "can't be used: its schema is missing. Create it"}},
      {"42P01", {Kind::kBroken, "can't be used: no such table"}},
      {"42703", {Kind::kBroken, "can't be used: a table lacks a column"}},
      {"XX001", {Kind::kBroken, "is damaged. Restore a backup of the database"}},
      {"XX002", {Kind::kBroken, "is damaged. Rebuild the database's indexes"}}};
  const std::string state = stateOf(error);
  if (isLost(state))
    return problem(Kind::kLost, "can't be reached: the connection to its server is lost");
  const auto known = kKnown.find(state);
  if (known != kKnown.end()) return problem(known->second.first, known->second.second);
  return problem(Kind::kBroken, "can't be used: its server reports the error " +
                                    (state.empty() ? "\"unknown\"" : state));
}

PhoneBookError PostgresBackend::explainCommit(const soci::soci_error& error) const {
  const std::string state = stateOf(error);
  if (!state.empty() && !isLost(state)) return explain(error);
  return problem(Kind::kBroken,
                 "can't be reached: the connection to its server broke during the commit. It is "
                 "unknown whether the change was stored; check before you repeat it");
}

std::string PostgresBackend::tablesQuery() const {
  return "SELECT CAST(tablename AS text) FROM pg_catalog.pg_tables WHERE schemaname = "
         "current_schema()";
}

std::string PostgresBackend::encode(const std::string& text) const {
  std::string digits;
  digits.reserve(text.size() * 2);
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    digits.push_back(kDigits[byte >> 4]);
    digits.push_back(kDigits[byte & 0xF]);
  }
  return digits;
}

std::string PostgresBackend::parameter(const std::string& name) const {
  return "decode(:" + name + ", 'hex')";
}

std::string PostgresBackend::selected(const std::string& column) const {
  return "encode(" + column + ", 'hex')";
}

void PostgresBackend::decode(std::string& value) const {
  std::size_t bytes = 0;
  for (std::size_t at = 0; at + 1 < value.size(); at += 2)
    value[bytes++] = static_cast<char>(valueOf(value[at]) << 4 | valueOf(value[at + 1]));
  value.resize(bytes);
}

// Hash indexes, since a text may be too large for a B-tree.
std::vector<std::string> PostgresBackend::indexes() const {
  return {"entries_surname ON entries USING hash (surname)",
          "entries_mobile ON entries USING hash (mobile)"};
}

PhoneBookError PostgresBackend::problem(Kind kind, const std::string& what) const {
  return {kind, "The phonebook " + name() + " " + what + "."};
}

}  // namespace

std::unique_ptr<PhoneBookBackend> makePostgresBackend(const std::string& uri,
                                                      std::chrono::milliseconds timeout) {
  return std::make_unique<PostgresBackend>(uri, timeout);
}

}  // namespace host
