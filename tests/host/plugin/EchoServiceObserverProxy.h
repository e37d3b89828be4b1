#pragma once

#include "framework/Proxy.h"
#include "framework/ProxyRequest.h"
#include "tests/host/plugin/EchoServiceIfc.h"

/// Turns the calls of an EchoServiceObserverIfc into messages.
class EchoServiceObserverProxy : public Proxy, public EchoServiceObserverIfc {
 public:
  void initProxy(ProxyRequest& request) override { m_request = &request; }
  void told(const std::string& text, int number) override;

 private:
  ProxyRequest* m_request = nullptr;
};
