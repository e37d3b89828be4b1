#include "host/bluetooth/ChannelProbe.h"

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

namespace host {
namespace {

namespace fs = std::filesystem;

enum class Bind { kFree, kTaken, kNoBluetooth };

Bind tryToBind(int channel, const bdaddr_t& address, std::string& problem) {
  const int socket = ::socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_CLOEXEC, BTPROTO_RFCOMM);
  if (socket < 0) {
    problem = std::generic_category().message(errno);
    return Bind::kNoBluetooth;
  }
  sockaddr_rc place{};
  place.rc_family = AF_BLUETOOTH;
  place.rc_bdaddr = address;
  place.rc_channel = static_cast<std::uint8_t>(channel);
  const int result = ::bind(socket, reinterpret_cast<const sockaddr*>(&place), sizeof place);
  const Bind found = result != 0 && errno == EADDRINUSE ? Bind::kTaken : Bind::kFree;
  ::close(socket);
  return found;
}

bool readAddress(const std::string& text, bdaddr_t& address) {
  unsigned bytes[6];
  if (std::sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x", &bytes[5], &bytes[4], &bytes[3],
                  &bytes[2], &bytes[1], &bytes[0]) != 6)
    return false;
  for (int i = 0; i < 6; ++i) address.b[i] = static_cast<std::uint8_t>(bytes[i]);
  return true;
}

/// Of the sockets in the kernel's list, whose sixth column it is.
std::set<std::string> rfcommSockets() {
  std::set<std::string> sockets;
  std::ifstream list("/proc/net/rfcomm");
  std::string line;
  std::getline(list, line);
  while (std::getline(list, line)) {
    std::istringstream words(line);
    std::string word;
    for (int column = 0; column < 6 && words >> word; ++column) continue;
    sockets.insert("socket:[" + word + "]");
  }
  return sockets;
}

bool hasOneOf(const fs::path& process, const std::set<std::string>& sockets) {
  std::error_code error;
  for (auto file = fs::directory_iterator(process / "fd", error);
       !error && file != fs::directory_iterator(); file.increment(error)) {
    std::error_code unreadable;
    if (sockets.count(fs::read_symlink(file->path(), unreadable).string()) != 0) return true;
  }
  return false;
}

pid_t processNumber(const std::string& name) {
  pid_t number = 0;
  const auto result = std::from_chars(name.data(), name.data() + name.size(), number);
  return result.ptr == name.data() + name.size() ? number : 0;
}

}  // namespace

ChannelUse probeChannel(int channel, const std::vector<std::string>& adapters) {
  ChannelUse use;
  const bdaddr_t any{};
  const Bind everywhere = tryToBind(channel, any, use.problem);
  use.bluetooth = everywhere != Bind::kNoBluetooth;
  use.takenForAll = everywhere == Bind::kTaken;
  for (const std::string& text : adapters) {
    bdaddr_t address{};
    if (readAddress(text, address) && tryToBind(channel, address, use.problem) == Bind::kTaken)
      use.takenAt.push_back(text);
  }
  return use;
}

std::vector<std::string> rfcommUsers(pid_t except) {
  std::vector<std::string> users;
  const std::set<std::string> sockets = rfcommSockets();
  if (sockets.empty()) return users;
  std::error_code error;
  for (auto process = fs::directory_iterator("/proc", error);
       !error && process != fs::directory_iterator(); process.increment(error)) {
    const pid_t number = processNumber(process->path().filename().string());
    if (number <= 0 || number == except || !hasOneOf(process->path(), sockets)) continue;
    std::string name;
    std::getline(std::ifstream(process->path() / "comm"), name);
    users.push_back(name + " (process " + std::to_string(number) + ")");
  }
  return users;
}

}  // namespace host
