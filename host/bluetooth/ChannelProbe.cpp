#include "host/bluetooth/ChannelProbe.h"

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>

#include "host/bluetooth/Address.h"

namespace host {
namespace {

namespace fs = std::filesystem;

/// Sockets as the links in /proc/PID/fd name them: "socket:[INODE]".
using Sockets = std::set<std::string>;

std::string word(const std::string& line, int index) {
  std::istringstream words(line);
  std::string word;
  for (int i = 0; i <= index; ++i) words >> word;
  return words ? word : "";
}

Sockets rfcommSockets() {
  constexpr int kInode = 5;
  Sockets sockets;
  std::ifstream list("/proc/net/rfcomm");
  std::string line;
  std::getline(list, line);
  while (std::getline(list, line)) sockets.insert("socket:[" + word(line, kInode) + "]");
  return sockets;
}

Sockets listenersAt(const std::string& path) {
  constexpr int kFlags = 3;
  constexpr int kInode = 6;
  Sockets sockets;
  std::ifstream list("/proc/net/unix");
  for (std::string line; std::getline(list, line);)
    if (line.ends_with(" " + path) && word(line, kFlags) == "00010000")
      sockets.insert("socket:[" + word(line, kInode) + "]");
  return sockets;
}

/// A variable that the process was started with; empty if it has none or can't be inspected.
std::string variableOf(pid_t process, const std::string& name) {
  std::ifstream environment("/proc/" + std::to_string(process) + "/environ");
  for (std::string entry; std::getline(environment, entry, '\0');)
    if (entry.starts_with(name + "=")) return entry.substr(name.size() + 1);
  return {};
}

/// The virtual radio's socket file for a channel of this process; empty if it isn't on one.
std::string virtualSocket(pid_t process, int channel) {
  const std::string folder = variableOf(process, "VIRTUAL_RADIO_DIR");
  std::string address = normalAddress(variableOf(process, "VIRTUAL_RADIO_ADDRESS"));
  if (folder.empty() || address.empty()) return {};
  std::erase(address, ':');
  char suffix[8];
  std::snprintf(suffix, sizeof suffix, "-%02d", channel);
  return folder + "/" + address + suffix;
}

/// Whether a descriptor of another process is an RFCOMM socket that is bound to the channel and not
/// connected; nullopt if this process may not look.
std::optional<bool> holds(pid_t process, int descriptor, int channel) {
  // Debian 12's glibc declares functions for these without C linkage.
  const auto handle = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
  const auto copy =
      handle < 0 ? -1 : static_cast<int>(::syscall(SYS_pidfd_getfd, handle, descriptor, 0));
  if (handle >= 0) ::close(handle);
  if (copy < 0) return std::nullopt;
  sockaddr_rc own{};
  sockaddr_rc peer{};
  socklen_t size = sizeof own;
  socklen_t peerSize = sizeof peer;
  const bool bound = ::getsockname(copy, reinterpret_cast<sockaddr*>(&own), &size) == 0 &&
                     own.rc_channel == channel;
  // SO_ACCEPTCONN is always 0 for Bluetooth sockets.
  const bool connected = ::getpeername(copy, reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0;
  ::close(copy);
  return bound && !connected;
}

std::optional<int> number(const fs::path& name) {
  const std::string text = name.filename().string();
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  return value;
}

std::vector<int> numbersIn(const fs::path& folder) {
  std::vector<int> numbers;
  std::error_code error;
  for (auto file = fs::directory_iterator(folder, error);
       !error && file != fs::directory_iterator(); file.increment(error))
    if (const auto value = number(file->path())) numbers.push_back(*value);
  return numbers;
}

/// The descriptors of a process that are one of these sockets.
std::vector<int> descriptorsOf(pid_t process, const Sockets& sockets) {
  const fs::path folder = "/proc/" + std::to_string(process) + "/fd";
  std::vector<int> descriptors = numbersIn(folder);
  std::erase_if(descriptors, [&](int descriptor) {
    std::error_code error;
    return !sockets.contains(fs::read_symlink(folder / std::to_string(descriptor), error).string());
  });
  return descriptors;
}

std::string programOf(pid_t process) {
  std::string name;
  std::getline(std::ifstream("/proc/" + std::to_string(process) + "/comm"), name);
  return name;
}

}  // namespace

ChannelUse probeChannel(int channel, const std::string& adapter) {
  ChannelUse use;
  const int socket = ::socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_CLOEXEC, BTPROTO_RFCOMM);
  if (socket < 0) {
    use.problem = std::generic_category().message(errno);
    return use;
  }
  use.bluetooth = true;
  sockaddr_rc place{};
  place.rc_family = AF_BLUETOOTH;
  place.rc_bdaddr = parseAddress(adapter).value_or(bdaddr_t{});
  place.rc_channel = static_cast<std::uint8_t>(channel);
  use.taken = ::bind(socket, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0 &&
              errno == EADDRINUSE;
  ::close(socket);
  return use;
}

std::vector<ChannelHolder> findChannelHolders(int channel, pid_t phone) {
  const std::string file = virtualSocket(phone, channel);
  const Sockets sockets = file.empty() ? rfcommSockets() : listenersAt(file);
  std::vector<ChannelHolder> holders;
  if (sockets.empty()) return holders;
  for (const pid_t process : numbersIn("/proc")) {
    if (process == phone) continue;
    std::optional<bool> held = false;
    for (const int descriptor : descriptorsOf(process, sockets)) {
      held = file.empty() ? holds(process, descriptor, channel) : std::optional(true);
      if (held.value_or(true)) break;
    }
    if (held.value_or(true)) holders.push_back({programOf(process), process, held == true});
  }
  if (std::any_of(holders.begin(), holders.end(),
                  [](const auto& holder) { return holder.certain; }))
    std::erase_if(holders, [](const auto& holder) { return !holder.certain; });
  return holders;
}

}  // namespace host
