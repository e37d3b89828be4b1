#pragma once

#include <giomm.h>

#include <memory>
#include <mutex>
#include <string>

#include "host/bus/Notifier.h"
#include "host/bus/WorkQueue.h"
#include "host/loader/ServiceNames.h"

namespace host {

/// Takes the calls to the service's interface out of a connection's stream of messages and puts
/// them into the queue of the framework thread, and the answers to what the notifier sent;
/// everything else passes.
///
/// Threads: `filter` runs on GIO's own thread, so it only looks, copies references and queues; the
/// other operations may be called from any thread.
class CallGate {
 public:
  /// The queue and the notifier must live until `close`.
  CallGate(const ServiceNames& names, WorkQueue& queue, Notifier& notifier);

  /// Returns the message, or an amended copy, for GIO to treat; null when it was a call to the
  /// service or an answer to the notifier.
  Glib::RefPtr<Gio::DBus::Message> filter(const Glib::RefPtr<Gio::DBus::Connection>& connection,
                                          const Glib::RefPtr<Gio::DBus::Message>& message);

  /// From now on the service's calls are refused, and neither queue nor notifier is touched any
  /// more.
  void close();

 private:
  Glib::RefPtr<Gio::DBus::Message> route(const Glib::RefPtr<Gio::DBus::Connection>& connection,
                                         const Glib::RefPtr<Gio::DBus::Message>& message);
  void takeIn(const Glib::RefPtr<Gio::DBus::Connection>& connection,
              const Glib::RefPtr<Gio::DBus::Message>& message);
  bool tellNotifier(const Glib::RefPtr<Gio::DBus::Connection>& connection,
                    const Glib::RefPtr<Gio::DBus::Message>& message);
  bool isForService(const Glib::RefPtr<Gio::DBus::Message>& message) const;
  Glib::RefPtr<Gio::DBus::Message> withInterface(
      const Glib::RefPtr<Gio::DBus::Message>& message) const;

  const ServiceNames m_names;
  std::mutex m_mutex;
  // Guarded by m_mutex; null when closed:
  WorkQueue* m_queue;
  Notifier* m_notifier;
};

}  // namespace host
