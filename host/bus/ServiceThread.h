#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "framework/Invoker.h"
#include "framework/InvokerResponse.h"
#include "framework/Method.h"
#include "framework/Service.h"
#include "host/bus/Observers.h"
#include "host/bus/WorkQueue.h"
#include "host/loader/PhoneContext.h"
#include "host/loader/ServicePlugin.h"

namespace host {

/// The only thread that calls the service. It creates and runs the service, passes the messages in
/// the queue to its invoker one at a time, replies to them, and at the end deletes the service and
/// what belongs to it in the required order.
///
/// Threads: call `start` and `stop` from one thread; the other functions from any. What is passed
/// to the constructor must outlive the object.
class ServiceThread {
 public:
  struct Activity {
    std::string message;  ///< the message being handled, empty when idle
    std::chrono::seconds since{0};
  };

  /// Called on this thread before and after the invoker handles a message. May be empty.
  struct Listener {
    std::function<void(const std::string& message)> before;
    std::function<void(const std::string& message)> after;
  };

  /// `members` are the message names in the service's introspection XML.
  ServiceThread(const ServicePlugin& plugin, PhoneContext& context, Observers& observers,
                WorkQueue& queue, std::set<std::string> members);
  ~ServiceThread();
  ServiceThread(const ServiceThread&) = delete;
  ServiceThread& operator=(const ServiceThread&) = delete;

  /// Call before `start`.
  void listen(Listener listener) { m_listener = std::move(listener); }
  /// Whether the service has this message.
  [[nodiscard]] bool knows(const std::string& message) const {
    return m_members.count(message) != 0;
  }

  /// Returns when the service runs. Throws std::runtime_error if it can't be created.
  void start();
  /// Closes the queue, waits for the current message and deletes the service. There is no time
  /// limit: the service may block.
  void stop();

  [[nodiscard]] Activity activity() const;

  /// Queues a message from the host itself. It is dropped if `wanted` is false when its turn comes.
  void tell(const Method& message, std::function<bool()> wanted);
  /// Queues the clean-up after a process that has left the bus.
  void callerLeft(const std::string& caller);
  /// Queues the clean-up after all of them.
  void allCallersLeft();

 private:
  void run(std::promise<void>& started);
  void createService();
  void serve();
  void destroyService();

  void deliver(ServiceCall& call);
  void answer(ServiceCall& call, const std::optional<Method>& reply);
  std::optional<Method> hand(const Method& request, const std::string& caller);
  void invoke(const std::string& name, const std::string& bytes, InvokerResponse* response);
  std::optional<bool> unsubscribe(const std::string& caller);
  void setActivity(const std::string& message);

  const ServicePlugin& m_plugin;
  PhoneContext& m_context;
  Observers& m_observers;
  WorkQueue& m_queue;
  const std::set<std::string> m_members;
  Listener m_listener;

  // Used by the service thread only:
  std::unique_ptr<Service> m_service;
  std::unique_ptr<Invoker> m_invoker;

  mutable std::mutex m_mutex;
  // Guarded by m_mutex:
  std::string m_message;
  std::chrono::steady_clock::time_point m_since;

  std::thread m_thread;
};

}  // namespace host
