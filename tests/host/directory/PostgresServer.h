#pragma once

#include <string>
#include <vector>

namespace test {

/// The test program's own PostgreSQL server, in a temporary folder: started on first use, stopped
/// when the program ends. It requires no password on its socket, but does on its port of 127.0.0.1.
/// Errors are std::runtime_error.
///
/// Runs as the user "postgres" if the tests run as root, which PostgreSQL refuses.
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
  /// Runs SQL with psql and returns all values, concatenated.
  std::string Sql(const std::string& database, const std::string& sql) const;

  void Start() const;
  /// Breaks every connection.
  void Stop() const;
  void Restart() const;
  /// Stops all processes of the server; connections stay open.
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
