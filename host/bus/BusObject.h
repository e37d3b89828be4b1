#pragma once

#include <giomm.h>

#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

#include "framework/DirectoryServiceIfc.h"
#include "host/loader/ServicePlugin.h"

namespace host {

/// An error with a D-Bus error name.
class BusError : public std::runtime_error {
 public:
  BusError(const std::string& name, const std::string& message)
      : std::runtime_error(message), m_name(name) {}
  [[nodiscard]] const std::string& name() const { return m_name; }

 private:
  std::string m_name;
};

/// An object with one interface that the host offers on the bus. GIO checks the arguments of calls
/// against the introspection XML before the handler is called.
///
/// Threads: the main thread.
class BusObject {
 public:
  /// Handles a call and returns the reply as a tuple, whose reference the caller takes. A thrown
  /// `BusError` becomes that D-Bus error, any other exception "Failed".
  using Handler = std::function<GVariant*(const std::string& method, GVariant* arguments)>;

  /// Throws std::runtime_error if `xml` is invalid or doesn't describe `interface`.
  BusObject(const std::string& path, const std::string& interface, const std::string& xml,
            Handler handler);
  BusObject(const BusObject&) = delete;
  BusObject& operator=(const BusObject&) = delete;

  /// Registers the object on a connection. It must live until the connection is closed.
  void exportOn(const Glib::RefPtr<Gio::DBus::Connection>& connection);

  /// Names of the interface's methods.
  [[nodiscard]] std::set<std::string> methods() const;

 private:
  void serve(const Glib::ustring& method, const Glib::VariantContainerBase& arguments,
             const Glib::RefPtr<Gio::DBus::MethodInvocation>& invocation);

  const std::string m_path;
  const Handler m_handler;
  Glib::RefPtr<Gio::DBus::NodeInfo> m_node;
  Glib::RefPtr<Gio::DBus::InterfaceInfo> m_interface;
  Gio::DBus::InterfaceVTable m_vtable;
};

/// The service's object, described by `xml`. It only answers introspection: `CallGate` intercepts
/// the service's calls, and those that still get here while the host stops are refused.
std::unique_ptr<BusObject> makeServiceObject(const ServiceNames& names, const std::string& xml);

/// The Directory Service at /org/obexphone/DirectoryService. Its one method carries the XML of
/// `DirectoryServiceIfc::handleRequest` as bytes, because entries need not be UTF-8. `directory`
/// must outlive the object.
std::unique_ptr<BusObject> makeDirectoryObject(DirectoryServiceIfc& directory);

}  // namespace host
