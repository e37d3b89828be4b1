#pragma once

#include <string>

#include "OBEXServiceIfc.h"
#include "framework/Export.h"
#include "framework/Proxy.h"

/// Represents an observer in another process: sends each call as a notification, without waiting.
///
/// Threads: called from the service's notifying threads, one call at a time. The request is not
/// owned. The order of virtual functions is part of the ABI.
class OBEXServiceObserverProxy : public Proxy, public OBEXServiceObserverIfc {
 public:
  OBEXServiceObserverProxy();
  ~OBEXServiceObserverProxy() override;

  /// Call before any notification.
  void initProxy(ProxyRequest& request) override;

  void vCardReceived(const std::string& vcard, int count) override;
  void vCardError(const std::string& error, int count) override;
  void vCardDestRequest(const std::string& info) override;
  void vCardSendSucc(const std::string& info) override;
  void vCardSendErr(const std::string& info, const std::string& bda, int channel) override;
  void vCardAccept(const std::string& vcard) override;

 private:
  ProxyRequest* m_request;
};

/// Plug-in entry point: returns a new `Proxy*`, owned by the caller.
extern "C" FRAMEWORK_API void* createOBEXServiceObserverProxy();
