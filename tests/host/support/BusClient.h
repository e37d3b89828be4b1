#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace test {

struct BusClientState;

/// A client of the telephone on the bus, built on plain GIO. It calls one service and records its
/// notifications. Arguments and replies are in GVariant text format, e.g. "({'text': <'hello'>},)".
///
/// Threads: one at a time.
class BusClient {
 public:
  struct Answer {
    bool came = false;    ///< before the deadline
    std::string error;    ///< D-Bus error name, empty for none
    std::string message;  ///< the error's message
    std::string values;   ///< the body, "" if it is empty
  };
  struct Notification {
    std::string object;
    std::string interface;
    std::string member;
    std::string values;
    bool wantsAnswer;
  };

  /// Throws std::runtime_error if it can't connect.
  BusClient(const std::string& address, const std::string& service);
  ~BusClient();
  BusClient(const BusClient&) = delete;
  BusClient& operator=(const BusClient&) = delete;

  /// Its unique bus name.
  [[nodiscard]] std::string name() const;
  void leave();

  /// Calls any method and waits for the reply. An empty `interface` is left out of the call.
  Answer callObject(const std::string& object, const std::string& interface,
                    const std::string& member, const std::string& arguments);
  Answer callObject(const std::string& object, const std::string& interface,
                    const std::string& member, GVariant* arguments);

  /// Calls a method of the bus daemon.
  Answer callBus(const std::string& member, const std::string& arguments);

  /// Calls a method of the service.
  Answer call(const std::string& member, const std::string& arguments = "(@a{sv} {},)");
  Answer call(const std::string& member, GVariant* arguments);
  /// Calls without waiting, and returns the serial number for `wait`.
  std::uint32_t send(const std::string& member, const std::string& arguments = "(@a{sv} {},)");
  Answer wait(std::uint32_t serial);
  /// Calls with the flag that no reply is expected.
  std::uint32_t tell(const std::string& member, const std::string& arguments);
  /// Whether a reply has arrived.
  [[nodiscard]] bool answered(std::uint32_t serial) const;

  /// A value of the telephone's status in text format, "" if it is missing.
  std::string status(const std::string& name);

  /// The notifications so far.
  [[nodiscard]] std::vector<Notification> heard() const;
  /// Waits until there are that many.
  [[nodiscard]] bool waitUntilHeard(std::size_t count) const;

 private:
  std::uint32_t post(const std::string& destination, const std::string& object,
                     const std::string& interface, const std::string& member, GVariant* arguments,
                     bool wantsAnswer);

  const std::string m_path;
  const std::string m_interface;
  GDBusConnection* m_connection;
  std::shared_ptr<BusClientState> m_state;
};

/// Parses the text format.
GVariant* parseValue(const std::string& text);

}  // namespace test
