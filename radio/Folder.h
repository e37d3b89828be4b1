#pragma once

#include <cstddef>

#include "radio/Address.h"

namespace radio {

constexpr char kFolderVariable[] = "VIRTUAL_RADIO_DIR";
constexpr size_t kPathSize = 4096;

/// The folder shared by the programs that can reach each other.
///
/// It holds an empty file for each address ever used (001122334455), a Unix socket for each channel
/// that is bound (001122334455-04), and a lock file. A socket left by a dead process counts as
/// absent; whoever finds it removes it.
///
/// Short-lived: made for one call, used by one thread. Methods return 0 or a negative errno and
/// leave errno unchanged.
class Folder {
 public:
  /// Opens the folder named by the environment or the default one, which must belong to this user
  /// because anyone can write to /tmp. Creates a missing last component with mode 0700.
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  int error() const { return m_error; }
  const char* path() const { return m_path; }
  bool isDefault() const { return m_default; }

  int addAdapter(const bdaddr_t& address);
  bool hasAdapter(const bdaddr_t& address) const;

  /// -EADDRINUSE while a live socket is bound to the endpoint.
  int bind(int fd, const Endpoint& endpoint);

  /// Never blocks. -ECONNREFUSED: nobody listens, or the backlog is full. -EHOSTDOWN: the address
  /// was never used in this folder.
  int connect(int fd, const Endpoint& endpoint);

  /// Removes the endpoint's file if its socket is dead. Never blocks: if another process holds the
  /// lock, the file is left for whoever finds it next.
  void removeDead(const Endpoint& endpoint);

  /// Removes the file of a socket that the caller owns.
  void remove(const Endpoint& endpoint);

 private:
  int readPath();
  int open();
  Name nameOf(const Endpoint& endpoint) const;
  bool isDead(const Endpoint& endpoint) const;
  void removeIfDead(const Endpoint& endpoint);

  char m_path[kPathSize] = "";
  bool m_default = false;
  int m_fd = -1;
  int m_error = 0;
};

}  // namespace radio
