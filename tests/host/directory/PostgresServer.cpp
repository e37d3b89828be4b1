#include "tests/host/directory/PostgresServer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/host/directory/BookPlace.h"

extern char** environ;

namespace test {

namespace {

constexpr const char* kPrograms = "/usr/lib/postgresql/15/bin/";

std::vector<std::string> AsServersUser(std::vector<std::string> words) {
  if (::geteuid() == 0) {
    const std::vector<std::string> user = {"setpriv", "--reuid=postgres", "--regid=postgres",
                                           "--clear-groups"};
    words.insert(words.begin(), user.begin(), user.end());
  }
  return words;
}

int FreePort() {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in place = {};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof place;
  auto* const address = reinterpret_cast<sockaddr*>(&place);
  const bool bound =
      ::bind(socket, address, size) == 0 && ::getsockname(socket, address, &size) == 0;
  ::close(socket);
  if (!bound) throw std::runtime_error("there is no free port");
  return ntohs(place.sin_port);
}

/// Runs a program to its end, with its output on standard error.
void RunToEnd(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
  pid_t process = -1;
  const int error =
      ::posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  if (error != 0 || ::waitpid(process, &status, 0) != process || status != 0)
    throw std::runtime_error("this did not work: " + words.at(words.size() > 4 ? 4 : 0));
}

class PostgresPlace : public BookPlace {
 public:
  PostgresPlace() {
    static std::atomic<int> count{0};
    m_database = "book" + std::to_string(++count);
    PostgresServer::Get().Sql("postgres", "CREATE DATABASE " + m_database);
  }
  ~PostgresPlace() override {
    PostgresServer::Get().Sql("postgres", "DROP DATABASE " + m_database + " WITH (FORCE)");
  }
  std::string Connection() const override { return PostgresServer::Get().Connection(m_database); }
  std::string Sql(const std::string& sql) const override {
    return PostgresServer::Get().Sql(m_database, sql);
  }

 private:
  std::string m_database;
};

}  // namespace

PostgresServer& PostgresServer::Get() {
  static PostgresServer server;
  return server;
}

PostgresServer::PostgresServer() : m_port(FreePort()) {
  std::string pattern = "/tmp/phonebook-server-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder");
  m_folder = pattern;
  if (::geteuid() == 0) {
    const passwd* const user = ::getpwnam("postgres");
    if (user == nullptr || ::chown(m_folder.c_str(), user->pw_uid, user->pw_gid) != 0)
      throw std::runtime_error("there is no user postgres: install the package postgresql");
  }
  Run({"initdb", "-D", Data(), "-U", "phone", "-A", "trust", "--no-sync", "-E", "UTF8",
       "--locale=C"});
  std::ofstream(Data() + "/pg_hba.conf")
      << "local all all trust\nhost all all 127.0.0.1/32 scram-sha-256\n";
  std::ofstream(Data() + "/postgresql.conf", std::ios::app)
      << "listen_addresses = '127.0.0.1'\nport = " << m_port << "\nunix_socket_directories = '"
      << m_folder << "'\nfsync = off\nmax_connections = 30\nlogging_collector = off\n";
  Start();
}

PostgresServer::~PostgresServer() {
  try {
    Thaw();
    Stop();
  } catch (const std::exception&) {
    // Already stopped.
  }
  std::error_code ignored;
  std::filesystem::remove_all(m_folder, ignored);
}

void PostgresServer::Run(std::vector<std::string> words) const {
  words.front().insert(0, kPrograms);
  RunToEnd(AsServersUser(std::move(words)));
}

std::string PostgresServer::Connection(const std::string& database) const {
  return "postgresql://phone@/" + database + "?host=" + m_folder +
         "&port=" + std::to_string(m_port) + "&connect_timeout=2";
}

std::string PostgresServer::RemoteConnection(const std::string& user,
                                             const std::string& database) const {
  return "postgresql://" + user + "@127.0.0.1:" + std::to_string(m_port) + "/" + database;
}

std::string PostgresServer::Sql(const std::string& database, const std::string& sql) const {
  static std::atomic<int> count{0};
  const std::string query =
      m_folder + "/query-" + std::to_string(::getpid()) + "-" + std::to_string(++count);
  const std::string out = query + ".out";
  std::ofstream(query) << "SET statement_timeout = 60000;\n" << sql;
  RunToEnd({"psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-d", Connection(database),
            "-f", query, "-o", out});
  std::ifstream result(out);
  std::string values;
  for (std::string line; std::getline(result, line);) values += line;
  std::filesystem::remove(query);
  std::filesystem::remove(out);
  return values;
}

void PostgresServer::Start() const {
  Run({"pg_ctl", "start", "-w", "-s", "-D", Data(), "-l", m_folder + "/log"});
}

void PostgresServer::Stop() const {
  Run({"pg_ctl", "stop", "-w", "-s", "-D", Data(), "-m", "immediate"});
}

void PostgresServer::Restart() const {
  Stop();
  Start();
}

void PostgresServer::SignalAll(const std::string& signal) const {
  std::ifstream file(Data() + "/postmaster.pid");
  std::string master;
  std::getline(file, master);
  const std::string processes =
      "kill -" + signal + " " + master + " $(ps -o pid= --ppid " + master + ")";
  RunToEnd({"sh", "-c", processes});
}

void PostgresServer::Freeze() const { SignalAll("STOP"); }

void PostgresServer::Thaw() const { SignalAll("CONT"); }

std::unique_ptr<BookPlace> MakeBookPlace(const std::string&) {
  return std::make_unique<PostgresPlace>();
}

}  // namespace test
