#include "tests/host/plugin/EchoServiceInvoker.h"

#include <unistd.h>

#include <memory>
#include <sstream>
#include <stdexcept>
#include <variant>

#include "framework/Executable.h"
#include "framework/GPALSleep.h"
#include "framework/MessageSerializer.h"
#include "framework/Proxy.h"

extern "C" __attribute__((visibility("default"))) void* createEchoServiceInvoker() {
  return static_cast<Invoker*>(new EchoServiceInvoker);
}

namespace {

std::string text(const Method& request, const std::string& name) {
  std::string value;
  request.getStringParameter(name, value, Parameter::IN);
  return value;
}

int number(const Method& request, const std::string& name) {
  int value = 0;
  request.getIntParameter(name, value, Parameter::IN);
  return value;
}

void waitForFile(const std::string& path) {
  while (access(path.c_str(), F_OK) != 0) GPALSleep().milliSleep(5);
}

}  // namespace

void EchoServiceInvoker::handleMessage(Executable* executable, const char* data, int length,
                                       InvokerResponse* response) {
  const std::unique_ptr<InvokerResponse> owned(response);
  auto* service = dynamic_cast<EchoServiceIfc*>(executable);
  MessageSerializer* serializer = m_context->getSerializer(response->getFormat());
  std::istringstream in(std::string(data, static_cast<std::size_t>(length)));
  Method request;
  if (service == nullptr || serializer == nullptr || serializer->decode(in, request) != 1) return;
  act(*service, request, *response);
}

void EchoServiceInvoker::act(EchoServiceIfc& service, const Method& request,
                             InvokerResponse& response) {
  if (actOnObservers(service, request, response)) return;
  if (answerSomething(service, request, response)) return;
  const std::string& name = request.getName();
  if (name == "waitEvent") waitForFile(text(request, "file"));
  if (name == "failEvent") throw std::runtime_error("the echo is broken");
  if (name == "clingEvent") service.cling();
}

bool EchoServiceInvoker::actOnObservers(EchoServiceIfc& service, const Method& request,
                                        InvokerResponse& response) {
  const std::string& name = request.getName();
  if (name == "subscribeEvent" || name == "unsubscribeEvent") {
    EchoServiceObserverIfc* caller = observer(response);
    Method answer(name, Method::REPLY);
    answer.addBoolParameter(
        "done", name == "subscribeEvent" ? service.subscribe(caller) : service.unsubscribe(caller),
        Parameter::OUT);
    reply(answer, response);
  } else if (name == "tellEvent") {
    service.tell(text(request, "text"), number(request, "count"));
  } else if (name == "tellLaterEvent") {
    service.tellLater(text(request, "text"), number(request, "count"));
  } else {
    return false;
  }
  return true;
}

bool EchoServiceInvoker::answerSomething(EchoServiceIfc& service, const Method& request,
                                         InvokerResponse& response) {
  const std::string& name = request.getName();
  Method answer(name, Method::REPLY);
  if (name == "sayEvent") {
    echo(request, response);
  } else if (name == "babbleEvent") {
    const std::string bytes = text(request, "bytes");
    response.send(bytes.data(), static_cast<int>(bytes.size()));
  } else if (name == "repeatEvent") {
    echo(request, response);
    echo(request, response);
  } else if (name == "directoryEvent") {
    answer.addStringParameter("answer", service.askDirectory(text(request, "request")),
                              Parameter::OUT);
    reply(answer, response);
  } else if (name == "fileEvent") {
    answer.addBoolParameter("noted", service.registerFile(text(request, "path")), Parameter::OUT);
    reply(answer, response);
  } else {
    return false;
  }
  return true;
}

void EchoServiceInvoker::echo(const Method& request, InvokerResponse& response) {
  Method answer(request.getName(), Method::REPLY);
  for (const Parameter& parameter : request.getParameters()) {
    if (const auto* flag = std::get_if<bool>(&parameter.value))
      answer.addBoolParameter(parameter.name, *flag, Parameter::OUT);
    if (const auto* value = std::get_if<int>(&parameter.value))
      answer.addIntParameter(parameter.name, *value, Parameter::OUT);
    if (const auto* words = std::get_if<std::string>(&parameter.value))
      answer.addStringParameter(parameter.name, *words, Parameter::OUT);
  }
  reply(answer, response);
}

EchoServiceObserverIfc* EchoServiceInvoker::observer(const InvokerResponse& response) {
  Proxy* proxy = m_context->getProxy("EchoServiceObserverIfc", response.getCallerAddress());
  return dynamic_cast<EchoServiceObserverIfc*>(proxy);
}

void EchoServiceInvoker::reply(const Method& answer, InvokerResponse& response) {
  std::ostringstream out;
  m_context->getSerializer(response.getFormat())->encode(answer, out);
  const std::string bytes = out.str();
  response.send(bytes.data(), static_cast<int>(bytes.size()));
}
