#pragma once

#include <giomm.h>

#include <functional>
#include <stdexcept>
#include <string>

namespace host {

/// A refusal with the name of a D-Bus error.
class BusError : public std::runtime_error {
 public:
  BusError(const std::string& name, const std::string& sentence)
      : std::runtime_error(sentence), m_name(name) {}
  [[nodiscard]] const std::string& name() const { return m_name; }

 private:
  std::string m_name;
};

/// One object of the host with one interface, described in D-Bus's introspection format. GIO checks
/// calls against the description before they come here.
///
/// Threads: the main thread.
class BusObject {
 public:
  /// Carries out a call and returns the tuple to answer with, a reference for the taker. May throw;
  /// a `BusError` becomes that error, anything else "Failed".
  using Handler = std::function<GVariant*(const std::string& method, GVariant* arguments)>;

  /// Throws std::runtime_error when `xml` doesn't describe `interface`.
  BusObject(const std::string& path, const std::string& interface, const std::string& xml,
            Handler handler);
  BusObject(const BusObject&) = delete;
  BusObject& operator=(const BusObject&) = delete;

  /// Makes it reachable through a connection, which keeps it until it is closed; the object must
  /// live until then.
  void exportOn(const Glib::RefPtr<Gio::DBus::Connection>& connection);

  /// The description of the interface.
  [[nodiscard]] const Glib::RefPtr<Gio::DBus::InterfaceInfo>& description() const {
    return m_interface;
  }

 private:
  void serve(const Glib::ustring& method, const Glib::VariantContainerBase& arguments,
             const Glib::RefPtr<Gio::DBus::MethodInvocation>& invocation);

  const std::string m_path;
  const Handler m_handler;
  Glib::RefPtr<Gio::DBus::NodeInfo> m_node;
  Glib::RefPtr<Gio::DBus::InterfaceInfo> m_interface;
  Gio::DBus::InterfaceVTable m_vtable;
};

}  // namespace host
