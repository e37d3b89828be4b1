#pragma once

#include <giomm.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace host {

/// A call to the service that came over the bus and must be answered once, unless the caller wants
/// no reply. Destroying it unanswered sends the error "Failed".
///
/// Threads: any, one at a time. A reply that can't be sent is logged.
class ServiceCall {
 public:
  ServiceCall(const Glib::RefPtr<Gio::DBus::Connection>& connection,
              const Glib::RefPtr<Gio::DBus::Message>& message);
  ~ServiceCall();
  ServiceCall(const ServiceCall&) = delete;
  ServiceCall& operator=(const ServiceCall&) = delete;

  [[nodiscard]] const std::string& member() const { return m_member; }
  /// The caller's unique bus name.
  [[nodiscard]] const std::string& caller() const { return m_caller; }
  [[nodiscard]] const Glib::RefPtr<Gio::DBus::Connection>& connection() const {
    return m_connection;
  }
  /// Null if the message has no body.
  [[nodiscard]] GVariant* body() const;
  [[nodiscard]] std::size_t bodySize() const;

  /// Replies with a tuple, which stays the caller's, or with an empty body for null. Only the first
  /// `answer` or `refuse` counts.
  void answer(GVariant* body);
  /// Replies with the D-Bus error of this name.
  void refuse(const char* error, const std::string& message);

  /// Keeps `object` as long as the call.
  void hold(std::shared_ptr<void> object) { m_held = std::move(object); }

 private:
  bool beginAnswer();
  void send(const Glib::RefPtr<Gio::DBus::Message>& reply);

  const Glib::RefPtr<Gio::DBus::Connection> m_connection;
  const Glib::RefPtr<Gio::DBus::Message> m_message;
  const std::string m_member;
  const std::string m_caller;
  std::shared_ptr<void> m_held;
  bool m_answered = false;
};

/// First in, first out queue for the service thread: a bounded number of calls from the bus, and
/// the host's own tasks, which are never refused.
///
/// Threads: any.
class WorkQueue {
 public:
  /// Limits on waiting calls: how many, and their bodies' bytes in total. A call that waits alone
  /// may be larger.
  static constexpr std::size_t kMaxCalls = 64;
  static constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

  using Task = std::function<void()>;
  /// One of the two is set; neither when the queue is closed.
  struct Work {
    std::unique_ptr<ServiceCall> call;
    Task task;
  };

  /// Sees each call before it is queued, on GIO's thread. A queued call holds what this returns.
  using OnOffer = std::function<std::shared_ptr<void>(const ServiceCall& call)>;

  explicit WorkQueue(OnOffer onOffer = {}) : m_onOffer(std::move(onOffer)) {}
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  /// Takes the call. Returns false, and doesn't take it, if the queue is full or closed.
  bool offer(std::unique_ptr<ServiceCall>& call);
  /// Ignored when the queue is closed.
  void push(Task task);

  /// Blocks until there is work or the queue is closed.
  Work take();
  /// Discards what waits and refuses everything new.
  void close();
  [[nodiscard]] std::size_t waitingCalls() const;

 private:
  const OnOffer m_onOffer;
  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  // Guarded by m_mutex:
  std::deque<Work> m_work;
  std::size_t m_calls = 0;
  std::size_t m_bytes = 0;
  bool m_closed = false;
};

}  // namespace host
