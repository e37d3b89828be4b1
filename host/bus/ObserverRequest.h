#pragma once

#include <string>

#include "framework/ProxyRequest.h"
#include "host/bus/Notifier.h"

namespace host {

/// The way from one proxy to the process that it stands for.
///
/// Threads: any. The notifier must outlive it.
class ObserverRequest : public ProxyRequest {
 public:
  ObserverRequest(Notifier& notifier, const Notifier::Connection& connection,
                  const std::string& observer);

  bool send(const Method& method) override;

 private:
  Notifier& m_notifier;
  const Notifier::Connection m_connection;
  const std::string m_observer;
};

}  // namespace host
