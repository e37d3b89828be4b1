#include "tests/host/plugin/EchoServiceObserverProxy.h"

#include "framework/Method.h"

extern "C" __attribute__((visibility("default"))) void* createEchoServiceObserverProxy() {
  return static_cast<Proxy*>(new EchoServiceObserverProxy);
}

void EchoServiceObserverProxy::told(const std::string& text, int number) {
  Method method("toldEvent", Method::NOTIFICATION);
  method.addStringParameter("text", text, Parameter::IN);
  method.addIntParameter("number", number, Parameter::IN);
  m_request->send(method);
}
