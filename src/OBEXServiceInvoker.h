#pragma once

#include "framework/Export.h"
#include "framework/Invoker.h"

class Method;
class MessageSerializer;
class OBEXServiceIfc;

/// Turns the messages that other processes send to the service into calls, and answers the two that
/// have a result.
///
/// Threads: the framework thread. Keeps nothing between messages but the context, which is not
/// owned.
class OBEXServiceInvoker : public Invoker {
 public:
  OBEXServiceInvoker();
  ~OBEXServiceInvoker() override;

  /// Handles one message. A message that can't be decoded is dropped; one of an unknown name is
  /// logged. Deletes `response` on every path.
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

/// The framework's way in: a new invoker as `Invoker*`, owned by the caller.
extern "C" FRAMEWORK_API void* createOBEXServiceInvoker();
