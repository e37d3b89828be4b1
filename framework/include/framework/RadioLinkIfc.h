#pragma once

#include <cstddef>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "framework/Export.h"

/// Observes the push server's radio link and decides who may connect. The host implements it for
/// status, policy and journal, sets it with `setRadioLink` and owns it; a process has at most one.
///
/// Called from the server's thread in the order of events, except `linkForbidden`. Calls must not
/// block, and must not throw.
class FRAMEWORK_API RadioLinkIfc {
 public:
  /// A server listens on RFCOMM channel `channel`.
  virtual void linkListening(int channel) = 0;
  /// The server has closed, for good or to open again after a link.
  virtual void linkStopped() = 0;
  /// A peer with this Bluetooth address ("00:11:22:33:44:55") has connected. If this returns false
  /// the link is closed before anything is read from it.
  virtual bool linkAccepted(const std::string& address) = 0;
  /// A peer pushes an object. Called once for each, before the service gets it: when its last
  /// packet has arrived, when it is refused, or when its link ends early. `name` is UTF-8, empty if
  /// the peer gave none; `size` is the number of body bytes received.
  virtual void linkObject(const std::string& name, std::size_t size) = 0;
  /// The final response to a request was sent. Both are OBEX codes without the final bit.
  virtual void linkAnswered(int command, int response) = 0;
  /// The link has ended. `reason` is for status and journal ("closed by the peer").
  virtual void linkClosed(const std::string& reason) = 0;
  /// The receiver of a contact has answered Forbidden to a CONNECT with a Who header. Returns
  /// whether to send CONNECT again without it. Called once per link at most, from the sending
  /// thread.
  virtual bool linkForbidden() { return false; }
  /// Returns whether the host is switching receiving off. If so, a server that registers its
  /// channel succeeds without opening a socket, so that it reaches its input loop, where it sees
  /// that it is disabled, even while the channel is taken. Asked again about every 20 ms until
  /// then; a false makes the server register again.
  virtual bool linkStopping() { return false; }
  /// The server could not listen on `channel`; `error` is the errno. The server retries at once, so
  /// expect up to 200 calls a second.
  virtual void listenFailed(int /*channel*/, int /*error*/) {}

 protected:
  RadioLinkIfc() = default;
  RadioLinkIfc(const RadioLinkIfc&) = default;
  RadioLinkIfc& operator=(const RadioLinkIfc&) = default;
  virtual ~RadioLinkIfc() = default;
};

/// Sets the process's observer, or none (null). Returns when no call of the previous one is
/// running. Any thread.
FRAMEWORK_API void setRadioLink(RadioLinkIfc* link);

/// Scoped access to the observer: `if (RadioLinkAccess link; link) link->linkStopped();`. Any
/// thread; `setRadioLink` waits for it.
class FRAMEWORK_API RadioLinkAccess {
 public:
  RadioLinkAccess();
  explicit operator bool() const { return m_link != nullptr; }
  RadioLinkIfc* operator->() const { return m_link; }

 private:
  std::shared_lock<std::shared_mutex> m_lock;
  RadioLinkIfc* m_link;
};
