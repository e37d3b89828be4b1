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

/// A program on the bus, written with nothing but GIO: it calls the telephone and hears what the
/// telephone tells its observers. Arguments and answers are in GLib's text format for values, such
/// as "({'text': <'hello'>},)".
///
/// Threads: one at a time.
class BusClient {
 public:
  struct Answer {
    bool came = false;     ///< within a deadline that no healthy machine misses
    std::string error;     ///< name of the D-Bus error, empty for none
    std::string sentence;  ///< its text
    std::string values;    ///< the body, "" when it is empty
  };
  struct Notification {
    std::string object;
    std::string interface;
    std::string member;
    std::string values;
    bool wantsAnswer;
  };

  /// Throws std::runtime_error when the bus can't be reached.
  explicit BusClient(const std::string& address);
  /// Leaves the bus.
  ~BusClient();
  BusClient(const BusClient&) = delete;
  BusClient& operator=(const BusClient&) = delete;

  [[nodiscard]] std::string name() const;
  void leave();

  /// Calls any method and waits for the answer. An empty `interface` leaves it out.
  Answer callObject(const std::string& object, const std::string& interface,
                    const std::string& member, const std::string& arguments);
  Answer callObject(const std::string& object, const std::string& interface,
                    const std::string& member, GVariant* arguments);

  /// Calls a method of the bus itself.
  Answer callBus(const std::string& member, const std::string& arguments);

  /// The messages of the echo service.
  Answer call(const std::string& member, const std::string& arguments = "(@a{sv} {},)");
  Answer call(const std::string& member, GVariant* arguments);
  /// Calls and doesn't wait; the number is for `wait`, which gives the answer.
  std::uint32_t send(const std::string& member, const std::string& arguments = "(@a{sv} {},)");
  Answer wait(std::uint32_t serial);
  /// Calls without wanting an answer.
  std::uint32_t tell(const std::string& member, const std::string& arguments);
  /// Whether any answer to it has come.
  [[nodiscard]] bool answered(std::uint32_t serial) const;

  /// A value of the telephone's status in text format, "" when it isn't there.
  std::string status(const std::string& name);

  /// What has been heard so far.
  [[nodiscard]] std::vector<Notification> heard() const;
  /// Waits until so many were heard.
  [[nodiscard]] bool waitUntilHeard(std::size_t count) const;

 private:
  std::uint32_t post(const std::string& destination, const std::string& object,
                     const std::string& interface, const std::string& member, GVariant* arguments,
                     bool wantsAnswer);

  GDBusConnection* m_connection;
  std::shared_ptr<BusClientState> m_state;
};

/// A value from its text format.
GVariant* parseValue(const std::string& text);

}  // namespace test
