#include "host/bus/ObserverRequest.h"

#include <exception>

#include "host/loader/HostLog.h"

namespace host {

ObserverRequest::ObserverRequest(Notifier& notifier, const Notifier::Connection& connection,
                                 const std::string& observer)
    : m_notifier(notifier), m_connection(connection), m_observer(observer) {}

bool ObserverRequest::send(const Method& method) {
  try {
    return m_notifier.notify(m_connection, m_observer, method);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("a notification to %s was dropped: %s", m_observer.c_str(), error.what());
    return false;
  }
}

}  // namespace host
