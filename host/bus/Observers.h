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
#include "host/bus/CallerWatch.h"
#include "host/bus/Notifier.h"
#include "host/bus/ObserverRequest.h"
#include "host/loader/ProxySource.h"
#include "host/loader/ServicePlugin.h"

namespace host {

/// The proxies of the processes that observe the service: one for each, kept until that process has
/// left the bus and the service holds the proxy no more.
///
/// Threads: the framework thread, except for `count`.
class Observers : public ProxySource {
 public:
  /// Hands the service "unsubscribeEvent" in the name of a caller and returns its answer; nothing
  /// when there was none.
  using Unsubscribe = std::function<std::optional<bool>(const std::string& caller)>;

  /// All of these must outlive the object; the context is what the proxies are initialised with.
  Observers(const ServicePlugin& plugin, const ServiceNames& names, Context& context,
            Notifier& notifier, CallerWatch& watch);

  /// The host itself as an observer, under the address `kHost`: what it is told goes to `request`,
  /// which must outlive the object. It doesn't count as a process.
  void observeAs(ProxyRequest& request) { m_own = &request; }
  static constexpr const char* kHost = "host";

  /// The connection by which the callers of the present can be reached.
  void useConnection(const Notifier::Connection& connection) { m_connection = connection; }

  /// The proxy of `address`, a unique name on the bus, for the service's observer interface. Null
  /// for any other interface or address, and when there are too many already.
  Proxy* getProxy(const std::string& interfaceName, const std::string& address) override;

  /// A process has left the bus: ends its subscriptions and frees its proxy. A proxy that the
  /// service may still hold is kept until `clear`.
  void callerLeft(const std::string& caller, const Unsubscribe& unsubscribe);
  void allLeft(const Unsubscribe& unsubscribe);

  /// Frees all proxies; the service must be gone.
  void clear();

  /// How many processes have a proxy. Any thread.
  [[nodiscard]] std::size_t count() const { return m_count.load(std::memory_order_relaxed); }

 private:
  /// The request is declared first, so that it outlives the proxy.
  struct Observer {
    std::unique_ptr<ObserverRequest> request;
    std::unique_ptr<Proxy> proxy;
    std::size_t lookups = 0;  ///< the service can't have subscribed it more often
  };

  Proxy* make(const std::string& address);
  Proxy* makeOwn();
  static bool endSubscriptions(const std::string& caller, const Observer& observer,
                               const Unsubscribe& unsubscribe);

  const ServicePlugin& m_plugin;
  const ServiceNames m_names;
  Context& m_context;
  Notifier& m_notifier;
  CallerWatch& m_watch;
  Notifier::Connection m_connection;
  ProxyRequest* m_own = nullptr;
  std::unique_ptr<Proxy> m_ownProxy;
  std::map<std::string, Observer> m_observers;
  std::vector<Observer> m_kept;
  std::atomic<std::size_t> m_count{0};
};

}  // namespace host
