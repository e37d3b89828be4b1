#pragma once

namespace host::bluez {

// The names of BlueZ's interface on the system bus.
inline constexpr const char* kService = "org.bluez";
inline constexpr const char* kRoot = "/org/bluez";
inline constexpr const char* kAdapter = "org.bluez.Adapter1";
inline constexpr const char* kDevice = "org.bluez.Device1";
inline constexpr const char* kProfileManager = "org.bluez.ProfileManager1";
inline constexpr const char* kProfile = "org.bluez.Profile1";
inline constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
inline constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

/// The error of a bus that doesn't let a call through.
inline constexpr const char* kAccessDenied = "org.freedesktop.DBus.Error.AccessDenied";

/// OBEX Object Push, as an adapter lists it.
inline constexpr const char* kObjectPush = "00001105-0000-1000-8000-00805f9b34fb";

/// How long it may take to answer, in milliseconds.
inline constexpr int kTimeout = 20000;

}  // namespace host::bluez
