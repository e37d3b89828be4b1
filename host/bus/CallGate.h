#pragma once

#include <giomm.h>

#include <memory>
#include <mutex>

#include "host/bus/Notifier.h"
#include "host/bus/WorkQueue.h"
#include "host/loader/ServicePlugin.h"

namespace host {

/// Intercepts incoming messages on a bus connection: calls to the service go to the work queue,
/// replies to the notifier's messages go to the notifier. GIO handles the rest.
///
/// Threads: any. The filter runs on GIO's thread and therefore never blocks.
class CallGate : public std::enable_shared_from_this<CallGate> {
 public:
  /// The queue and the notifier must live until `close`. Create with `std::make_shared`: an
  /// attached gate lives until its connection is gone.
  CallGate(const ServiceNames& names, WorkQueue& queue, Notifier& notifier);

  /// Starts to intercept the messages of this connection.
  void attach(const Glib::RefPtr<Gio::DBus::Connection>& connection);

  /// From now on calls to the service are refused, and queue and notifier are no longer used.
  void close();

 private:
  using Connection = Glib::RefPtr<Gio::DBus::Connection>;
  using Message = Glib::RefPtr<Gio::DBus::Message>;

  Message filter(const Connection& connection, const Message& message);
  Message route(const Connection& connection, const Message& message);
  void enqueue(const Connection& connection, const Message& message);
  bool passToNotifier(const Connection& connection, const Message& message);
  bool isForService(const Message& message) const;

  const ServiceNames m_names;
  std::mutex m_mutex;
  // Guarded by m_mutex; null when closed:
  WorkQueue* m_queue;
  Notifier* m_notifier;
};

}  // namespace host
