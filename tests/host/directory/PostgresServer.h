#pragma once

#include <string>
#include <vector>

namespace test {

/// A PostgreSQL server of the test program's own, in a temporary folder: started when it is first
/// asked for, gone when the program ends. It takes anyone through its socket, and passwords through
/// a port of 127.0.0.1. Errors are std::runtime_error.
///
/// It belongs to the user "postgres" where the tests run as root, which no server takes.
class PostgresServer {
 public:
  static PostgresServer& Get();
  ~PostgresServer();
  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;

  /// Through the socket.
  std::string Connection(const std::string& database) const;
  /// Through the port; `user` may be "name:password".
  std::string RemoteConnection(const std::string& user, const std::string& database) const;
  /// Runs SQL with the server's own client, and returns all the values, one after the other.
  std::string Sql(const std::string& database, const std::string& sql) const;

  void Start() const;
  /// Breaks every connection.
  void Stop() const;
  void Restart() const;
  /// Lets no process of the server go on, while all connections stay open.
  void Freeze() const;
  void Thaw() const;

 private:
  PostgresServer();
  void Run(std::vector<std::string> words) const;
  std::string Data() const { return m_folder + "/data"; }
  void SignalAll(const std::string& signal) const;

  std::string m_folder;
  int m_port = 0;
};

}  // namespace test
