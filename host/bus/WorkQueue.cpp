#include "host/bus/WorkQueue.h"

#include <utility>

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
         "the telephone is stopping and did not handle this message");
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

void ServiceCall::refuse(const char* error, const std::string& message) {
  if (beginAnswer())
    send(Gio::DBus::Message::create_method_error_literal(m_message, error, message));
}

/// Returns whether a reply must be sent now.
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
    HOST_LOG_ERROR("can't send the reply to %s to %s: %s", m_member.c_str(), m_caller.c_str(),
                   error->message);
    g_error_free(error);
  }
}

bool WorkQueue::offer(std::unique_ptr<ServiceCall>& call) {
  if (m_onOffer) call->hold(m_onOffer(*call));
  const std::size_t size = call->bodySize();
  const std::lock_guard lock(m_mutex);
  const bool full = m_calls >= kMaxCalls || (m_calls > 0 && m_bytes + size > kMaxBytes);
  if (m_closed || full) {
    // The refused call may outlive what it holds.
    call->hold(nullptr);
    return false;
  }
  m_work.push_back({std::move(call), {}});
  ++m_calls;
  m_bytes += size;
  m_changed.notify_one();
  return true;
}

void WorkQueue::push(Task task) {
  const std::lock_guard lock(m_mutex);
  if (m_closed) return;
  m_work.push_back({nullptr, std::move(task)});
  m_changed.notify_one();
}

WorkQueue::Work WorkQueue::take() {
  std::unique_lock lock(m_mutex);
  m_changed.wait(lock, [this] { return m_closed || !m_work.empty(); });
  if (m_work.empty()) return {};
  Work work = std::move(m_work.front());
  m_work.pop_front();
  if (work.call) {
    --m_calls;
    m_bytes -= work.call->bodySize();
  }
  return work;
}

void WorkQueue::close() {
  std::deque<Work> discarded;  // destroyed after the lock is released
  const std::lock_guard lock(m_mutex);
  m_closed = true;
  m_work.swap(discarded);
  m_calls = 0;
  m_bytes = 0;
  m_changed.notify_all();
}

std::size_t WorkQueue::waitingCalls() const {
  const std::lock_guard lock(m_mutex);
  return m_calls;
}

}  // namespace host
