#include "host/bus/MessageFilter.h"

#include <atomic>
#include <utility>

namespace host {
namespace {

/// GIO hands it from thread to thread under a lock that the thread sanitizer can't see; so it is
/// handed over by `ready` as well.
struct AddedFilter {
  MessageFilter filter;
  std::atomic<bool> ready{false};
};

AddedFilter& takeOver(gpointer data) {
  auto& added = *static_cast<AddedFilter*>(data);
  static_cast<void>(added.ready.load(std::memory_order_acquire));
  return added;
}

GDBusMessage* callFilter(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                         gpointer data) {
  return takeOver(data).filter(connection, message, incoming != FALSE);
}

void freeFilter(gpointer data) { delete &takeOver(data); }

}  // namespace

void addMessageFilter(GDBusConnection* connection, MessageFilter filter) {
  auto* const added = new AddedFilter{std::move(filter)};
  added->ready.store(true, std::memory_order_release);
  g_dbus_connection_add_filter(connection, callFilter, added, freeFilter);
}

}  // namespace host
