#pragma once

#include <gio/gio.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace host {

/// A Bluetooth adapter, as BlueZ tells of it.
struct AdapterFacts {
  std::string path;     ///< BlueZ's object: "/org/bluez/hci0"
  std::string address;  ///< "00:11:22:33:44:55", in capitals
  std::string name;     ///< as other devices see it
  bool powered = false;
  bool discoverable = false;
  std::uint32_t discoverableTimeout = 0;  ///< in seconds, 0 for none
  std::vector<std::string> uuids;         ///< of the services that it offers

  /// "hci0".
  [[nodiscard]] std::string shortName() const;
  [[nodiscard]] bool offers(const std::string& uuid) const;
};

/// Another device that an adapter has met.
struct DeviceFacts {
  std::string path;
  std::string adapter;  ///< path of the adapter that has met it
  std::string address;  ///< as the adapter's
  std::string name;     ///< not safe to show; empty when it has told none
  bool paired = false;
  bool trusted = false;
  bool blocked = false;
  bool connected = false;
  bool near = false;    ///< heard of in a scan
  bool judged = false;  ///< BlueZ has said whether it is paired, trusted and blocked
};

/// What BlueZ has: its adapters and devices, kept up to date from what it tells. Whatever it tells
/// is taken with care: what has another form than it should have is ignored.
///
/// Threads: one at a time.
class BluezObjects {
 public:
  /// Beyond so many objects, further ones are not kept.
  static constexpr std::size_t kMaxObjects = 10000;

  void clear();
  /// The answer of `GetManagedObjects`, in place of everything. False when it is none.
  bool reset(GVariant* answer);
  /// The arguments of its signals.
  void added(GVariant* arguments);
  void removed(GVariant* arguments);
  void changed(const std::string& path, GVariant* arguments);

  /// By path.
  [[nodiscard]] const std::map<std::string, AdapterFacts>& adapters() const { return m_adapters; }
  [[nodiscard]] const std::map<std::string, DeviceFacts>& devices() const { return m_devices; }
  /// False when there were more than can be kept: a device that isn't here may be known all the
  /// same.
  [[nodiscard]] bool complete() const { return m_complete; }

  /// The adapter to use: the one of that name ("hci0") or address, or the first one when `wanted`
  /// is empty. Null when there is none.
  [[nodiscard]] const AdapterFacts* adapter(const std::string& wanted) const;

 private:
  void take(const std::string& path, GVariant* interfaces);
  void takeInterface(const std::string& path, const std::string& interface, GVariant* properties);
  [[nodiscard]] bool hasRoom();

  std::map<std::string, AdapterFacts> m_adapters;
  std::map<std::string, DeviceFacts> m_devices;
  bool m_complete = true;
};

/// A Bluetooth address in capitals; empty when the text is none.
std::string normalAddress(const std::string& text);

}  // namespace host
