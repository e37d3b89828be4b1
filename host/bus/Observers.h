#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "framework/Context.h"
#include "framework/Proxy.h"
#include "framework/ProxyRequest.h"
#include "host/bus/Notifier.h"
#include "host/loader/ServicePlugin.h"

namespace host {

/// The proxies of the processes that observe the service. A process keeps its one proxy until it
/// has left the bus and the service no longer uses the proxy.
///
/// Threads: the service thread, except for `count`.
class Observers {
 public:
  /// Maximum number of observing processes.
  static constexpr std::size_t kMaxObservers = 64;
  /// The address of the host as an observer of its own service.
  static constexpr const char* kHost = "host";

  /// Sends the service "unsubscribeEvent" in the name of a caller and returns its answer; nothing
  /// if there was none.
  using Unsubscribe = std::function<std::optional<bool>(const std::string& caller)>;
  /// Watches a process on the bus; `callerLeft` must follow when it leaves, or has left already.
  using Watch = std::function<void(const Notifier::Connection&, const std::string& caller)>;

  /// What is passed must outlive the object; proxies are initialised with `context`.
  Observers(const ServicePlugin& plugin, const ServiceNames& names, Context& context,
            Notifier& notifier, Watch watch);

  /// Makes the host an observer: notifications to `kHost` go to `request`, which must outlive the
  /// object.
  void observeAs(ProxyRequest& request) { m_own = &request; }

  /// Call before the service gets a message: `connection` leads to its caller, and `mayAdd` tells
  /// whether the caller may become an observer by it.
  void beginMessage(const Notifier::Connection& connection, bool mayAdd) {
    m_connection = connection;
    m_mayAdd = mayAdd;
  }

  /// The proxy of `address`, a unique bus name, for the service's observer interface; created if
  /// needed and the message allows it. Null for another interface or an invalid address, and if
  /// there are too many observers.
  Proxy* getProxy(const std::string& interfaceName, const std::string& address);

  /// Ends the subscriptions of a process that has left the bus and frees its proxy, unless the
  /// service may still use it: then it is kept until `clear`.
  void callerLeft(const std::string& caller, const Unsubscribe& unsubscribe);
  void allLeft(const Unsubscribe& unsubscribe);
  /// Frees all proxies. The service must have been deleted.
  void clear();

  /// Number of processes with a proxy. Any thread.
  [[nodiscard]] std::size_t count() const { return m_count.load(std::memory_order_relaxed); }

 private:
  struct Observer {
    std::unique_ptr<ProxyRequest> request;  // used by the proxy: destroyed after it
    std::unique_ptr<Proxy> proxy;
    std::size_t lookups = 0;  ///< upper limit of its subscriptions
  };

  Proxy* make(const std::string& address);
  Proxy* makeOwn();
  std::unique_ptr<Proxy> makeProxy(ProxyRequest& request);
  static bool endSubscriptions(const std::string& caller, const Observer& observer,
                               const Unsubscribe& unsubscribe);

  const ServicePlugin& m_plugin;
  const ServiceNames m_names;
  Context& m_context;
  Notifier& m_notifier;
  const Watch m_watch;
  Notifier::Connection m_connection;
  bool m_mayAdd = false;
  ProxyRequest* m_own = nullptr;
  std::unique_ptr<Proxy> m_ownProxy;
  std::map<std::string, Observer> m_observers;
  std::vector<Observer> m_kept;
  std::atomic<std::size_t> m_count{0};
};

}  // namespace host
