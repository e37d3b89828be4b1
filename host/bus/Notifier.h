#pragma once

#include <giomm.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "framework/Method.h"
#include "host/loader/ServiceNames.h"

namespace host {

/// Sends the service's notifications to its observers, without waiting for any of them, and keeps
/// one that doesn't read from piling them up.
///
/// What an observer hasn't read lies in the bus's memory, and when that is full the bus stops
/// reading from us, so that nobody hears of the telephone any more. So an observer that was sent
/// much is asked (`org.freedesktop.DBus.Peer.Ping`, which D-Bus libraries answer themselves, in the
/// order of arrival) whether it has come so far, and while too much is unread further notifications
/// to it are dropped and logged.
///
/// Threads: any; messages to one observer leave in the order of the calls.
class Notifier {
 public:
  using Connection = Glib::RefPtr<Gio::DBus::Connection>;
  using MessagePtr = Glib::RefPtr<Gio::DBus::Message>;

  explicit Notifier(const ServiceNames& names);
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;

  /// From now on this process, by its unique name, is an observer.
  void add(const std::string& observer);
  /// It has left the bus: what is sent to it from now on is dropped silently.
  void forget(const std::string& observer);
  void forgetAll();

  /// Sends the arguments (`IN`) of `method` as a call of that name which wants no answer. Returns
  /// whether it was handed to the bus; what wasn't is logged.
  bool notify(const Connection& connection, const std::string& observer, const Method& method);

  /// `answer` is a reply or an error that came in. Returns whether it was to one of the messages
  /// sent here, and is done with.
  bool answered(const Connection& connection, const MessagePtr& answer);

 private:
  struct Account {
    std::size_t unread = 0;       ///< bytes sent and not known to be read
    std::size_t newBytes = 0;     ///< of these, the ones sent after the last question
    std::size_t newMessages = 0;  ///< notifications sent after the last question
    std::size_t askedBytes = 0;   ///< bytes that the open question is about
    std::uint32_t question = 0;   ///< serial of the open question, 0 for none
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
