#pragma once

#include <cstddef>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "framework/Export.h"

/// Hears of what happens on the push server's radio link, and decides who may come in: status,
/// policy and journal of the host are made of it. There is one for the process at most; the host
/// gives it with `setRadioLink` and takes it back (with null) before it deletes it.
///
/// Threads: all operations are called from the thread that serves the link, in the order of events;
/// they must not wait, and no exception may leave them. Ownership stays with the host.
class FRAMEWORK_API RadioLinkIfc {
 public:
  /// A server listens on this RFCOMM channel now.
  virtual void linkListening(int channel) = 0;
  /// It no longer does: it was stopped, or its link ended and it opens anew.
  virtual void linkStopped() = 0;
  /// A peer has connected; `address` is its Bluetooth device address, "00:11:22:33:44:55". On false
  /// the link is closed before a byte of it is read.
  virtual bool linkAccepted(const std::string& address) = 0;
  /// A peer pushes an object. Told once for each object: when its last packet is in, before it is
  /// given to the service; or before that, when it is refused or its link ends. `name` is the
  /// object's name in UTF-8, empty when it has told none; `size` counts the bytes of its body that
  /// have come.
  virtual void linkObject(const std::string& name, std::size_t size) = 0;
  /// The answer to a request went out; `command` and `response` are OBEX codes without the final
  /// bit.
  virtual void linkAnswered(int command, int response) = 0;
  /// The link to the peer has ended, for this reason (a sentence fragment for people: "closed by
  /// the peer").
  virtual void linkClosed(const std::string& reason) = 0;
  /// The receiver of a contact has answered CONNECT with Forbidden. On true this is taken to be
  /// about the name of the wanted service in it, and CONNECT is made once more without; on false it
  /// stands. Unlike the others, called from the thread that sends.
  virtual bool linkForbidden() { return false; }
  /// Whether the host is switching receiving off: registering a channel that is taken gives up
  /// then.
  virtual bool linkStopping() { return false; }
  /// The server could not listen on `channel`; `error` is the errno. It retries until it can.
  virtual void listenFailed(int /*channel*/, int /*error*/) {}

 protected:
  RadioLinkIfc() = default;
  RadioLinkIfc(const RadioLinkIfc&) = default;
  RadioLinkIfc& operator=(const RadioLinkIfc&) = default;
  virtual ~RadioLinkIfc() = default;
};

/// Sets the process's radio link observer; null for none. May be called from any thread. It returns
/// only when no call of the former one is under way any more.
FRAMEWORK_API void setRadioLink(RadioLinkIfc* link);

/// Access to the observer for the length of a scope: `if (RadioLinkAccess link; link)
/// link->linkStopped();` Any thread; while one lives, `setRadioLink` waits.
class FRAMEWORK_API RadioLinkAccess {
 public:
  RadioLinkAccess();
  explicit operator bool() const { return m_link != nullptr; }
  RadioLinkIfc* operator->() const { return m_link; }

 private:
  std::shared_lock<std::shared_mutex> m_lock;
  RadioLinkIfc* m_link;
};
