#pragma once

#include "framework/FrameworkContext.h"
#include "framework/Invoker.h"
#include "framework/InvokerResponse.h"
#include "framework/Method.h"
#include "tests/host/plugin/EchoServiceIfc.h"

/// Turns messages into calls of an EchoServiceIfc.
class EchoServiceInvoker : public Invoker {
 public:
  void handleMessage(Executable* executable, const char* data, int length,
                     InvokerResponse* response) override;
  void initInvoker(FrameworkContext* context) override { m_context = context; }

 private:
  void act(EchoServiceIfc& service, const Method& request, InvokerResponse& response);
  bool actOnObservers(EchoServiceIfc& service, const Method& request, InvokerResponse& response);
  bool answerSomething(EchoServiceIfc& service, const Method& request, InvokerResponse& response);
  EchoServiceObserverIfc* observer(const InvokerResponse& response);
  void reply(const Method& answer, InvokerResponse& response);
  void echo(const Method& request, InvokerResponse& response);

  FrameworkContext* m_context = nullptr;
};
