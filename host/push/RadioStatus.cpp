#include "host/push/RadioStatus.h"

#include <bluetooth/bluetooth.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace host {

RadioStatus::State RadioStatus::state() const {
  const std::lock_guard lock(m_mutex);
  return m_state;
}

std::string RadioStatus::describeRadio() {
  const int socket = ::socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_CLOEXEC, BTPROTO_RFCOMM);
  if (socket >= 0) {
    close(socket);
    return "ready";
  }
  const std::string reason = std::error_code(errno, std::generic_category()).message();
  switch (errno) {
    case EAFNOSUPPORT:
      return "there is no Bluetooth on this machine: the kernel doesn't know it (" + reason + ")";
    case EPROTONOSUPPORT:
      return "there is no Bluetooth RFCOMM on this machine: the kernel module rfcomm is missing (" +
             reason + ")";
    default:
      return "there is no Bluetooth socket to be had: " + reason;
  }
}

void RadioStatus::linkListening(int channel) {
  const std::lock_guard lock(m_mutex);
  m_state.listening = true;
  m_state.channel = channel;
}

void RadioStatus::linkStopped() {
  const std::lock_guard lock(m_mutex);
  m_state.listening = false;
  m_state.channel = 0;
}

bool RadioStatus::linkAccepted(const std::string& address) {
  const std::lock_guard lock(m_mutex);
  m_state.peer = address;
  m_state.lastPeer = address;
  return true;
}

void RadioStatus::linkObject(const std::string& name, std::size_t size) {
  const std::lock_guard lock(m_mutex);
  m_state.lastObject = name;
  m_state.lastSize = size;
  ++m_state.objects;
}

void RadioStatus::linkAnswered(int command, int response) {
  static_cast<void>(command);
  const std::lock_guard lock(m_mutex);
  m_state.lastAnswer = response;
}

void RadioStatus::linkClosed(const std::string& reason) {
  const std::lock_guard lock(m_mutex);
  m_state.peer.clear();
  m_state.lastLinkEnd = reason;
}

}  // namespace host
