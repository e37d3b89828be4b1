#pragma once

#include <chrono>
#include <cstddef>
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
#include "framework/Method.h"
#include "framework/Service.h"
#include "host/bus/CallResponse.h"
#include "host/bus/Observers.h"
#include "host/bus/WorkQueue.h"
#include "host/loader/PhoneContext.h"
#include "host/loader/ServicePlugin.h"

namespace host {

/// The one thread that calls the service: it makes, initialises and runs it, hands its invoker the
/// messages from the queue, one at a time, answers them, and deletes everything in the order that
/// the service needs.
///
/// Threads: `start` and `stop` belong to one thread; `activity` and `callerLeft` may be called from
/// any. Whatever is given must outlive the object.
class FrameworkThread {
 public:
  struct Activity {
    std::string message;  ///< the one that the service is at, empty when it is idle
    std::chrono::seconds since{0};
  };

  /// Are told of every message before and after the invoker has it, on the framework thread, and
  /// may be left empty.
  struct Listener {
    std::function<void(const std::string& message)> before;
    std::function<void(const std::string& message)> after;
  };

  /// `members` are the messages that the service's description names.
  FrameworkThread(const ServicePlugin& plugin, PhoneContext& context, Observers& observers,
                  WorkQueue& queue, std::set<std::string> members);
  /// Stops it.
  ~FrameworkThread();
  FrameworkThread(const FrameworkThread&) = delete;
  FrameworkThread& operator=(const FrameworkThread&) = delete;

  /// Before `start`.
  void listen(Listener listener) { m_listener = std::move(listener); }
  /// Whether the service has this message.
  [[nodiscard]] bool knows(const std::string& message) const {
    return m_members.count(message) != 0;
  }

  /// Returns when the service runs; throws what kept it from it (std::runtime_error).
  void start();
  /// Closes the queue, waits for the message under way, deletes the service (which ends its own
  /// threads), then its invoker and the proxies. May take as long as the service likes.
  void stop();

  [[nodiscard]] Activity activity() const;

  /// An task for the queue: a message in the name of the host itself, handed over if `wanted`
  /// says so then.
  void tell(const Method& message, std::function<bool()> wanted);
  /// Errands for the queue: a process, or the whole bus, has gone.
  void callerLeft(const std::string& caller);
  void allCallersLeft();

 private:
  void run(std::promise<void>& started);
  void createService();
  void serve();
  void destroyService();

  void deliver(ServiceCall& call);
  void answer(ServiceCall& call, const std::optional<Method>& reply);
  std::optional<Method> hand(const Method& request, const std::string& caller);
  void handOver(const std::string& name, const std::string& bytes, CallResponse* response);
  std::optional<Method> readReply(const std::string& bytes);
  std::optional<bool> unsubscribe(const std::string& caller);
  void setActivity(const std::string& message);

  const ServicePlugin& m_plugin;
  PhoneContext& m_context;
  Observers& m_observers;
  WorkQueue& m_queue;
  const std::set<std::string> m_members;
  Listener m_listener;

  // The framework thread's own:
  std::unique_ptr<Service> m_service;
  std::unique_ptr<Invoker> m_invoker;

  mutable std::mutex m_mutex;
  // Guarded by m_mutex:
  std::string m_message;
  std::chrono::steady_clock::time_point m_since;

  std::thread m_thread;
};

}  // namespace host
