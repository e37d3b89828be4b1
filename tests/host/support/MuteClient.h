#pragma once

#include <string>

namespace test {

/// A client that subscribes to FakeService and then stops reading.
class MuteClient {
 public:
  /// Throws std::runtime_error if it can't connect.
  explicit MuteClient(const std::string& address);
  ~MuteClient();
  MuteClient(const MuteClient&) = delete;
  MuteClient& operator=(const MuteClient&) = delete;

  void subscribe();
  /// Discards what has arrived, until nothing comes for 300 ms. Returns the number of bytes.
  std::size_t drain();

 private:
  void authenticate();
  void send(const std::string& destination, const std::string& object, const std::string& interface,
            const std::string& member, bool dictionary);

  int m_socket;
  unsigned m_serial = 0;
};

}  // namespace test
