#pragma once

#include <gio/gio.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace host {

/// A Bluetooth adapter, as BlueZ describes it.
struct AdapterFacts {
  std::string path;     ///< BlueZ's object: "/org/bluez/hci0"
  std::string address;  ///< "00:11:22:33:44:55", upper case; empty if unknown
  std::string name;     ///< as other devices see it; not safe to show
  bool powered = false;
  bool discoverable = false;
  std::vector<std::string> uuids;  ///< of the services that it advertises

  /// "hci0".
  [[nodiscard]] std::string shortName() const;
  [[nodiscard]] bool offers(const std::string& uuid) const;
};

/// A device that an adapter knows.
struct DeviceFacts {
  std::string path;
  std::string adapter;  ///< path of the adapter
  std::string address;  ///< as that of an adapter
  std::string name;     ///< not safe to show; empty if unknown
  bool paired = false;
  bool trusted = false;
  bool blocked = false;
  bool connected = false;
  bool near = false;    ///< seen in a scan
  bool judged = false;  ///< BlueZ has reported Paired, Trusted and Blocked
};

/// BlueZ's adapters and devices, kept up to date from its signals. Malformed input is ignored.
///
/// Not thread-safe.
class BluezObjects {
 public:
  /// Further objects are dropped.
  static constexpr std::size_t kMaxObjects = 10000;

  void clear();
  /// Replaces everything by the reply to GetManagedObjects. Returns false, with nothing left, if
  /// `answer` isn't one.
  bool reset(GVariant* answer);
  /// These take the arguments of InterfacesAdded, InterfacesRemoved and PropertiesChanged.
  void added(GVariant* arguments);
  void removed(GVariant* arguments);
  void changed(const std::string& path, GVariant* arguments);

  /// By path.
  [[nodiscard]] const std::map<std::string, AdapterFacts>& adapters() const { return m_adapters; }
  [[nodiscard]] const std::map<std::string, DeviceFacts>& devices() const { return m_devices; }
  /// False if objects were dropped, so that a device may be known to BlueZ and not be here.
  [[nodiscard]] bool complete() const { return m_complete; }

  /// The adapter of this name ("hci0") or address, or the first one if `wanted` is empty; null if
  /// there is none.
  [[nodiscard]] const AdapterFacts* adapter(const std::string& wanted) const;

 private:
  void take(const std::string& path, GVariant* interfaces);
  void takeInterface(const std::string& path, const std::string& interface, GVariant* properties);
  [[nodiscard]] bool hasRoom();

  std::map<std::string, AdapterFacts> m_adapters;
  std::map<std::string, DeviceFacts> m_devices;
  bool m_complete = true;
};

}  // namespace host
