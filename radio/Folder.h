#pragma once

#include <cstddef>

#include "radio/Address.h"

namespace radio {

constexpr char kFolderVariable[] = "VIRTUAL_RADIO_DIR";
constexpr size_t kPathSize = 4096;

/// The folder that stands for the air: who shares it can hear each other.
///
/// It holds an empty file for each address that was ever switched on (001122334455), a local socket
/// for each channel that somebody listens on (001122334455-04), and the lock. Sockets of processes
/// that are gone are taken for nobody and removed by whoever comes across them.
///
/// Cheap to make; one is made for each call that needs it, and none is kept. Any thread; 0 or
/// negative error numbers are returned; errno is kept.
class Folder {
 public:
  /// Opens the folder the environment names; makes it, for its owner alone, when only its last part
  /// is missing. A folder nobody named must belong to this user: anyone can make one in /tmp.
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  int error() const { return m_error; }
  const char* path() const { return m_path; }
  /// The environment names no folder: path() is the one of our own choice.
  bool isDefault() const { return m_default; }

  int enterAdapter(const bdaddr_t& address);
  bool knowsAdapter(const bdaddr_t& address) const;

  /// Gives the socket the name of a listener. -EADDRINUSE while another one lives.
  int bind(int fd, const Place& place);

  /// Connects the socket at once or not at all. -ECONNREFUSED: nobody listens there, or too many
  /// wait already. -EHOSTDOWN: no such address was ever switched on.
  int connect(int fd, const Place& place);

  /// Removes the listener's name if its socket is gone. Never waits: while somebody else has the
  /// lock, the name stays for the next who comes across it.
  void removeDead(const Place& place);

  /// Removes the name of a socket that the caller holds.
  void remove(const Place& place);

 private:
  int readPath();
  int open();
  Name nameOf(const Place& place) const;
  bool isDead(const Place& place) const;
  void removeIfDead(const Place& place);

  char m_path[kPathSize] = "";
  bool m_default = false;
  int m_fd = -1;
  int m_error = 0;
};

}  // namespace radio
