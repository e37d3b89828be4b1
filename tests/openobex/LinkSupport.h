#pragma once

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "framework/RadioLinkIfc.h"
#include "openobex/openobex.h"

// For tests of whole links over the virtual radio.

namespace openobex {

constexpr std::uint8_t kChannel = 4;

/// A virtual radio for this test, and this process's address on it.
class Radio {
 public:
  Radio() {
    std::string path = (std::filesystem::temp_directory_path() / "layer-test-XXXXXX").string();
    m_folder = mkdtemp(path.data());
    setenv("VIRTUAL_RADIO_DIR", m_folder.c_str(), 1);
    setenv("VIRTUAL_RADIO_ADDRESS", "00:11:22:33:44:55", 1);
  }
  ~Radio() { std::filesystem::remove_all(m_folder); }
  Radio(const Radio&) = delete;
  Radio& operator=(const Radio&) = delete;

  static bdaddr_t address() { return {{0x55, 0x44, 0x33, 0x22, 0x11, 0x00}}; }

 private:
  std::string m_folder;
};

inline sockaddr_rc phoneAddress() {
  sockaddr_rc address{};
  address.rc_family = AF_BLUETOOTH;
  address.rc_bdaddr = Radio::address();
  address.rc_channel = kChannel;
  return address;
}

/// The peer's end of a link; takes ownership of the socket.
class Peer {
 public:
  explicit Peer(int socket) : m_socket(socket) {}
  ~Peer() { Close(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void Close() {
    if (m_socket >= 0) close(m_socket);
    m_socket = -1;
  }
  void Send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      const ssize_t result = send(m_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (result <= 0) return;  // the peer has gone, which the test will see
      sent += static_cast<std::size_t>(result);
    }
  }
  /// One whole packet; empty when the link has ended.
  std::string Receive() {
    std::string head = ReceiveExactly(3);
    if (head.empty()) return {};
    const auto length = static_cast<std::size_t>(static_cast<unsigned char>(head[1]) << 8 |
                                                 static_cast<unsigned char>(head[2]));
    return head + ReceiveExactly(length - 3);
  }
  int ReceiveCode() {
    const std::string answer = Receive();
    return answer.empty() ? -1 : static_cast<unsigned char>(answer[0]);
  }
  bool IsClosed() { return ReceiveExactly(1).empty(); }

 private:
  std::string ReceiveExactly(std::size_t count) {
    std::string bytes;
    while (bytes.size() < count) {
      char buffer[65536];
      pollfd waiting{m_socket, POLLIN, 0};
      if (poll(&waiting, 1, 60000) <= 0) return {};
      const ssize_t got = recv(m_socket, buffer, std::min(sizeof buffer, count - bytes.size()), 0);
      if (got <= 0) return {};
      bytes.append(buffer, static_cast<std::size_t>(got));
    }
    return bytes;
  }

  int m_socket;
};

inline std::string eventName(int event) {
  switch (event) {
    case OBEX_EV_PROGRESS:
      return "PROGRESS";
    case OBEX_EV_REQHINT:
      return "REQHINT";
    case OBEX_EV_REQ:
      return "REQ";
    case OBEX_EV_REQDONE:
      return "REQDONE";
    case OBEX_EV_LINKERR:
      return "LINKERR";
    case OBEX_EV_REQCHECK:
      return "REQCHECK";
    default:
      return "event " + std::to_string(event);
  }
}

/// Records what the host is told; the atomics are its answers.
class RecordingRadioLink : public RadioLinkIfc {
 public:
  RecordingRadioLink() { setRadioLink(this); }
  ~RecordingRadioLink() { setRadioLink(nullptr); }

  void linkListening(int channel) override { Add("listening " + std::to_string(channel)); }
  void linkStopped() override { Add("stopped"); }
  bool linkAccepted(const std::string& address) override {
    Add("accepted " + address);
    return admits;
  }
  void linkObject(const std::string& name, std::size_t size) override {
    Add("object " + name + " " + std::to_string(size));
  }
  void linkAnswered(int command, int response) override {
    Add("answered " + std::to_string(command) + " " + std::to_string(response));
  }
  void linkClosed(const std::string& reason) override { Add("closed: " + reason); }
  bool linkForbidden() override {
    ++forbidden;
    return repeats;
  }
  bool linkStopping() override { return stopping; }
  void listenFailed(int channel, int error) override {
    Add("listen failed " + std::to_string(channel) + " " + std::to_string(error));
  }

  std::vector<std::string> Told() {
    const std::lock_guard lock(m_mutex);
    return m_told;
  }
  void Forget() {
    const std::lock_guard lock(m_mutex);
    m_told.clear();
  }
  std::atomic<bool> admits = true;
  std::atomic<bool> repeats = true;
  std::atomic<bool> stopping = false;
  std::atomic<int> forbidden = 0;

 private:
  void Add(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    m_told.push_back(text);
  }
  std::mutex m_mutex;
  std::vector<std::string> m_told;
};

}  // namespace openobex
