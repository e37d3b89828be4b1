#pragma once

#include <string>

namespace test {

/// A program on the bus that subscribes to the echo service and then never reads again.
class MuteClient {
 public:
  /// Throws std::runtime_error when the bus can't be reached or won't have it.
  explicit MuteClient(const std::string& address);
  /// Leaves the bus.
  ~MuteClient();
  MuteClient(const MuteClient&) = delete;
  MuteClient& operator=(const MuteClient&) = delete;

  void subscribe();
  /// Reads and forgets what has come, until nothing more comes for a moment; the number of bytes.
  std::size_t drain();

 private:
  void authenticate();
  void send(const std::string& destination, const std::string& object, const std::string& interface,
            const std::string& member, bool dictionary);

  int m_socket;
  unsigned m_serial = 0;
};

}  // namespace test
