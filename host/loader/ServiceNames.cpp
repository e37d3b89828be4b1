#include "host/loader/ServiceNames.h"

#include <algorithm>

namespace host {
namespace {

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

}  // namespace

ServiceNames::ServiceNames(const std::string& name)
    : service(name),
      createService("create" + name),
      createInvoker("create" + name + "Invoker"),
      createObserverProxy("create" + name + "ObserverProxy"),
      observerIfc(name + "ObserverIfc"),
      interface("org.obexphone." + name + "Ifc"),
      path("/org/obexphone/" + name),
      observerInterface("org.obexphone." + name + "ObserverIfc"),
      observerPath("/org/obexphone/" + name + "Observer"),
      introspectionFile(lowerCase(name) + ".xml") {}

}  // namespace host
