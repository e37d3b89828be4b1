#pragma once

#include <giomm.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "framework/Method.h"
#include "host/loader/ServicePlugin.h"

namespace host {

/// Sends the service's notifications to its observers without waiting, with flow control for
/// observers that don't read.
///
/// Unread messages pile up in the bus daemon's memory, and when its limit is reached it stops
/// reading from the sender, so nobody would hear the telephone any more. Therefore the notifier
/// pings an observer (`org.freedesktop.DBus.Peer.Ping`, which D-Bus libraries answer themselves, in
/// order) after it has sent it a certain amount, and drops and logs its notifications while too
/// much is unread.
///
/// Threads: any. Messages to one observer are sent in the order of the calls.
class Notifier {
 public:
  using Connection = Glib::RefPtr<Gio::DBus::Connection>;
  using MessagePtr = Glib::RefPtr<Gio::DBus::Message>;

  explicit Notifier(const ServiceNames& names);
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;

  /// Adds an observer, by its unique bus name.
  void add(const std::string& observer);
  /// Removes an observer: notifications to it are dropped silently from now on.
  void forget(const std::string& observer);
  void forgetAll();

  /// Sends the `IN` parameters of `method` as a method call that expects no reply. If it can't be
  /// handed to the bus, logs it and returns false.
  bool notify(const Connection& connection, const std::string& observer, const Method& method);

  /// Handles an incoming reply or error. Returns false if it doesn't belong to a message that was
  /// sent from here.
  bool answered(const Connection& connection, const MessagePtr& answer);

 private:
  struct Account {
    std::size_t unread = 0;       ///< bytes sent and not known to be read
    std::size_t newBytes = 0;     ///< bytes sent since the last ping
    std::size_t newMessages = 0;  ///< notifications sent since the last ping
    std::size_t askedBytes = 0;   ///< bytes that the reply to the pending ping confirms
    std::uint32_t question = 0;   ///< serial of the pending ping, 0 for none
  };

  using Accounts = std::map<std::string, Account>;
  struct Sent {
    std::uint32_t serial;
    std::string what;
  };

  bool send(const Connection& connection, const MessagePtr& message, std::uint32_t& serial);
  bool admits(const Account& account, std::size_t cost) const;
  bool pay(const Connection& connection, Accounts::value_type& entry, const MessagePtr& message,
           std::size_t cost);
  bool logRefusal(const MessagePtr& answer);
  void askWhenDue(const Connection& connection, const std::string& observer, Account& account);

  const ServiceNames m_names;
  std::mutex m_mutex;
  // Guarded by m_mutex:
  Accounts m_accounts;
  std::size_t m_unread = 0;   ///< of all observers
  std::deque<Sent> m_recent;  ///< the newest last
};

}  // namespace host
