#include "host/bus/Observers.h"

#include <exception>
#include <utility>

#include "host/loader/HostLog.h"

namespace host {
namespace {

/// Passes the notifications of one proxy to the process that it stands for. Threads: any.
class ObserverRequest : public ProxyRequest {
 public:
  ObserverRequest(Notifier& notifier, const Notifier::Connection& connection,
                  const std::string& observer)
      : m_notifier(notifier), m_connection(connection), m_observer(observer) {}

  bool send(const Method& method) override {
    try {
      return m_notifier.notify(m_connection, m_observer, method);
    } catch (const std::exception& error) {
      HOST_LOG_ERROR("dropped a notification to %s: %s", m_observer.c_str(), error.what());
      return false;
    }
  }

 private:
  Notifier& m_notifier;
  const Notifier::Connection m_connection;
  const std::string m_observer;
};

}  // namespace

Observers::Observers(const ServicePlugin& plugin, const ServiceNames& names, Context& context,
                     Notifier& notifier, Watch watch)
    : m_plugin(plugin),
      m_names(names),
      m_context(context),
      m_notifier(notifier),
      m_watch(std::move(watch)) {}

Proxy* Observers::getProxy(const std::string& interfaceName, const std::string& address) {
  if (interfaceName != m_names.observerIfc) return nullptr;
  if (address == kHost) return m_own != nullptr ? makeOwn() : nullptr;
  if (!m_connection) return nullptr;
  const auto found = m_observers.find(address);
  if (found != m_observers.end()) {
    ++found->second.lookups;
    return found->second.proxy.get();
  }
  if (!m_mayAdd || g_dbus_is_unique_name(address.c_str()) == FALSE) return nullptr;
  if (m_observers.size() >= kMaxObservers) {
    HOST_LOG_ERROR("%s can't become an observer: there are %zu already", address.c_str(),
                   m_observers.size());
    return nullptr;
  }
  try {
    return make(address);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("%s can't become an observer: %s", address.c_str(), error.what());
    return nullptr;
  }
}

Proxy* Observers::makeOwn() {
  if (!m_ownProxy) m_ownProxy = makeProxy(*m_own);
  return m_ownProxy.get();
}

std::unique_ptr<Proxy> Observers::makeProxy(ProxyRequest& request) {
  auto proxy = m_plugin.createObserverProxy();
  proxy->init(m_context);
  proxy->initProxy(request);
  return proxy;
}

Proxy* Observers::make(const std::string& address) {
  Observer observer;
  observer.request = std::make_unique<ObserverRequest>(m_notifier, m_connection, address);
  observer.proxy = makeProxy(*observer.request);
  observer.lookups = 1;
  Proxy* proxy = observer.proxy.get();
  m_observers.emplace(address, std::move(observer));
  m_count = m_observers.size();
  m_notifier.add(address);
  m_watch(m_connection, address);
  return proxy;
}

void Observers::callerLeft(const std::string& caller, const Unsubscribe& unsubscribe) {
  const auto found = m_observers.find(caller);
  if (found == m_observers.end()) return;
  m_notifier.forget(caller);
  if (!endSubscriptions(caller, found->second, unsubscribe)) {
    HOST_LOG_ERROR("the service still uses the proxy of %s, which has left the bus",
                   caller.c_str());
    m_kept.push_back(std::move(found->second));
  } else {
    found->second.proxy->shutdown();
  }
  m_observers.erase(found);
  m_count = m_observers.size();
}

bool Observers::endSubscriptions(const std::string& caller, const Observer& observer,
                                 const Unsubscribe& unsubscribe) {
  // One more than the lookups, because the last answer must be false.
  const std::size_t attempts = observer.lookups + 1;
  for (std::size_t i = 0; i < attempts; ++i) {
    const std::optional<bool> ended = unsubscribe(caller);
    if (!ended) return false;
    if (!*ended) return true;
  }
  return false;
}

void Observers::allLeft(const Unsubscribe& unsubscribe) {
  while (!m_observers.empty()) {
    const std::string caller = m_observers.begin()->first;
    callerLeft(caller, unsubscribe);
  }
}

void Observers::clear() {
  m_ownProxy.reset();
  m_observers.clear();
  m_kept.clear();
  m_count = 0;
  m_connection.reset();
}

}  // namespace host
