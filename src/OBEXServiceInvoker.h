#pragma once

#include "framework/Export.h"
#include "framework/Invoker.h"

class Method;
class MessageSerializer;
class OBEXServiceIfc;

/// Decodes messages from other processes and calls the service; replies to the two that have a
/// result.
///
/// Threads: framework thread only. Keeps no state but the context, which is not owned.
class OBEXServiceInvoker : public Invoker {
 public:
  OBEXServiceInvoker();
  ~OBEXServiceInvoker() override;

  /// Handles one message. Drops one that can't be decoded, logs one with an unknown name. Always
  /// deletes `response`.
  void handleMessage(Executable* executable, const char* data, int length,
                     InvokerResponse* response) override;
  void initInvoker(FrameworkContext* context) override;

 private:
  void decodeAndDispatch(OBEXServiceIfc& service, const char* data, int length,
                         InvokerResponse& response);
  void handleSubscription(OBEXServiceIfc& service, const Method& request,
                          MessageSerializer& serializer, InvokerResponse& response);

  FrameworkContext* m_context;
};

/// Plug-in entry point: returns a new `Invoker*`, owned by the caller.
extern "C" FRAMEWORK_API void* createOBEXServiceInvoker();
