#include "host/bus/ServiceCall.h"

#include "host/loader/HostLog.h"

namespace host {
namespace {

std::string orEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

ServiceCall::ServiceCall(const Glib::RefPtr<Gio::DBus::Connection>& connection,
                         const Glib::RefPtr<Gio::DBus::Message>& message)
    : m_connection(connection),
      m_message(message),
      m_member(orEmpty(g_dbus_message_get_member(message->gobj()))),
      m_caller(orEmpty(g_dbus_message_get_sender(message->gobj()))) {}

ServiceCall::~ServiceCall() {
  refuse("org.freedesktop.DBus.Error.Failed",
         "the telephone is stopping and did not come to this message");
}

GVariant* ServiceCall::body() const { return g_dbus_message_get_body(m_message->gobj()); }

std::size_t ServiceCall::bodySize() const {
  return body() != nullptr ? g_variant_get_size(body()) : 0;
}

void ServiceCall::answer(GVariant* body) {
  if (!beginAnswer()) return;
  const auto reply = Gio::DBus::Message::create_method_reply(m_message);
  if (body != nullptr) g_dbus_message_set_body(reply->gobj(), body);
  send(reply);
}

void ServiceCall::refuse(const char* error, const std::string& sentence) {
  if (beginAnswer())
    send(Gio::DBus::Message::create_method_error_literal(m_message, error, sentence));
}

bool ServiceCall::beginAnswer() {
  if (m_answered) return false;
  m_answered = true;
  const auto flags = g_dbus_message_get_flags(m_message->gobj());
  return (flags & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) == 0;
}

void ServiceCall::send(const Glib::RefPtr<Gio::DBus::Message>& reply) {
  GError* error = nullptr;
  if (g_dbus_connection_send_message(m_connection->gobj(), reply->gobj(),
                                     G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, &error) == FALSE) {
    HOST_LOG_ERROR("the answer to %s could not be sent to %s: %s", m_member.c_str(),
                   m_caller.c_str(), error->message);
    g_error_free(error);
  }
}

}  // namespace host
