#pragma once

#include <string>

namespace host {

/// Every name under which the host meets one service, derived from the service's own name: nothing
/// else in the host knows which service it runs. A plain value.
struct ServiceNames {
  /// `service` is the class name of the service, such as "OBEXService".
  explicit ServiceNames(const std::string& service);

  std::string service;

  // The symbols of the plug-in's entry points.
  std::string createService;
  std::string createInvoker;
  std::string createObserverProxy;

  /// The name under which an invoker asks for its callers' proxies: "OBEXServiceObserverIfc".
  std::string observerIfc;

  // On the message bus.
  std::string interface;          ///< "org.obexphone.OBEXServiceIfc"
  std::string path;               ///< "/org/obexphone/OBEXService"
  std::string observerInterface;  ///< "org.obexphone.OBEXServiceObserverIfc"
  std::string observerPath;       ///< "/org/obexphone/OBEXServiceObserver"

  /// The file beside the plug-in that describes its bus interface: "obexservice.xml".
  std::string introspectionFile;
};

}  // namespace host
