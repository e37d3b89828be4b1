#pragma once

#include <giomm.h>

#include <cstddef>
#include <string>

namespace host {

/// One call to the service that came over the bus, and the duty to answer it: once, and not at all
/// when its caller wants no answer. One that is given up unanswered tells its caller so.
///
/// Threads: any, one at a time. An answer that can't be delivered is logged.
class ServiceCall {
 public:
  ServiceCall(const Glib::RefPtr<Gio::DBus::Connection>& connection,
              const Glib::RefPtr<Gio::DBus::Message>& message);
  ~ServiceCall();
  ServiceCall(const ServiceCall&) = delete;
  ServiceCall& operator=(const ServiceCall&) = delete;

  [[nodiscard]] const std::string& member() const { return m_member; }
  /// The caller's unique name on the bus.
  [[nodiscard]] const std::string& caller() const { return m_caller; }
  [[nodiscard]] const Glib::RefPtr<Gio::DBus::Connection>& connection() const {
    return m_connection;
  }
  /// Null when it has none.
  [[nodiscard]] GVariant* body() const;
  [[nodiscard]] std::size_t bodySize() const;

  /// `body` is a tuple, or null for an answer without contents. It stays the caller's. Only the
  /// first answer counts, also of the two kinds.
  void answer(GVariant* body);
  /// `error` is a D-Bus error's name, `sentence` says what is wrong.
  void refuse(const char* error, const std::string& sentence);

 private:
  /// Whether an answer is due; from now on, none is any more.
  bool beginAnswer();
  void send(const Glib::RefPtr<Gio::DBus::Message>& reply);

  const Glib::RefPtr<Gio::DBus::Connection> m_connection;
  const Glib::RefPtr<Gio::DBus::Message> m_message;
  const std::string m_member;
  const std::string m_caller;
  bool m_answered = false;
};

}  // namespace host
