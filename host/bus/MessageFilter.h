#pragma once

#include <gio/gio.h>

#include <functional>

namespace host {

/// Sees every message of a connection on its way, on GIO's own thread. Takes the message over and
/// returns it, or another one that the caller owns, or null when it goes no further.
using MessageFilter =
    std::function<GDBusMessage*(GDBusConnection* connection, GDBusMessage* message, bool incoming)>;

/// Lets `filter` see the connection's messages until the connection is gone; it is destroyed when
/// GIO's thread no longer calls it. Any thread.
void addMessageFilter(GDBusConnection* connection, MessageFilter filter);

}  // namespace host
