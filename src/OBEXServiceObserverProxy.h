#pragma once

#include <string>

#include "OBEXServiceIfc.h"
#include "framework/Export.h"
#include "framework/Proxy.h"

/// Stands for an observer in another process: each call becomes one notification, sent without
/// waiting.
///
/// Threads: whichever thread the service notifies on, one call at a time. The request is not owned.
/// The order of the operations is relied on by other binaries.
class OBEXServiceObserverProxy : public Proxy, public OBEXServiceObserverIfc {
 public:
  OBEXServiceObserverProxy();
  ~OBEXServiceObserverProxy() override;

  /// Before the first call of an observer's operation.
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

/// The framework's way in: a new proxy as `Proxy*`, owned by the caller.
extern "C" FRAMEWORK_API void* createOBEXServiceObserverProxy();
