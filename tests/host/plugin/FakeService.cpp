// A service that does what the real one can't be made to do in a test: block until it is released,
// throw, reply twice or with garbage, cling to its observers, and send large notifications.

#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "framework/FrameworkContext.h"
#include "framework/GPALSleep.h"
#include "framework/Invoker.h"
#include "framework/InvokerResponse.h"
#include "framework/MessageSerializer.h"
#include "framework/Method.h"
#include "framework/Proxy.h"
#include "framework/ProxyRequest.h"
#include "framework/Service.h"

namespace {

class FakeProxy : public Proxy {
 public:
  void initProxy(ProxyRequest& request) override { m_request = &request; }

  void told(const std::string& text, int number) {
    Method method("toldEvent", Method::NOTIFICATION);
    method.addStringParameter("text", text, Parameter::IN);
    method.addIntParameter("number", number, Parameter::IN);
    m_request->send(method);
  }

 private:
  ProxyRequest* m_request = nullptr;
};

class FakeService : public Service {
 public:
  /// Its threads may notify observers until here.
  ~FakeService() override {
    for (std::thread& thread : m_threads) thread.join();
  }
  void init(Context&) override {}
  void shutdown() override {}
  void run() override {}

  bool subscribe(FakeProxy* observer) {
    if (observer == nullptr) return false;
    const std::lock_guard lock(m_mutex);
    m_observers.push_back(observer);
    return true;
  }
  bool unsubscribe(FakeProxy* observer) {
    const std::lock_guard lock(m_mutex);
    if (m_clings) return true;
    const auto found = std::find(m_observers.begin(), m_observers.end(), observer);
    if (found == m_observers.end()) return false;
    m_observers.erase(found);
    return true;
  }
  void tell(const std::string& text, int count) {
    for (int number = 0; number < count; ++number) {
      const std::lock_guard lock(m_mutex);
      for (FakeProxy* observer : m_observers) observer->told(text, number);
    }
  }
  void tellLater(const std::string& text, int count) {
    m_threads.emplace_back([this, text, count] { tell(text, count); });
  }
  void cling() {
    const std::lock_guard lock(m_mutex);
    m_clings = true;
  }

 private:
  std::vector<std::thread> m_threads;
  std::mutex m_mutex;
  // Guarded by m_mutex:
  std::vector<FakeProxy*> m_observers;
  bool m_clings = false;
};

/// One message on its way through the invoker.
struct Call {
  FakeService& service;
  FrameworkContext& context;
  InvokerResponse& response;
  Method request;

  std::string text(const std::string& name) const {
    std::string value;
    request.getStringParameter(name, value, Parameter::IN);
    return value;
  }
  int count() const {
    int value = 0;
    request.getIntParameter("count", value, Parameter::IN);
    return value;
  }
  FakeProxy* caller() const {
    return dynamic_cast<FakeProxy*>(
        context.getProxy("FakeServiceObserverIfc", response.getCallerAddress()));
  }
  void send(const std::string& bytes) const {
    response.send(bytes.data(), static_cast<int>(bytes.size()));
  }
  void reply(const Method& method) const {
    std::ostringstream out;
    context.getSerializer(response.getFormat())->encode(method, out);
    send(out.str());
  }
  void replyDone(bool done) const {
    Method method(request.getName(), Method::REPLY);
    method.addBoolParameter("done", done, Parameter::OUT);
    reply(method);
  }
  void echo() const {
    Method method(request.getName(), Method::REPLY);
    for (const Parameter& parameter : request.getParameters()) {
      if (const auto* flag = std::get_if<bool>(&parameter.value))
        method.addBoolParameter(parameter.name, *flag, Parameter::OUT);
      if (const auto* number = std::get_if<int>(&parameter.value))
        method.addIntParameter(parameter.name, *number, Parameter::OUT);
      if (const auto* words = std::get_if<std::string>(&parameter.value))
        method.addStringParameter(parameter.name, *words, Parameter::OUT);
    }
    reply(method);
  }
  void waitForFile() const {
    while (access(text("file").c_str(), F_OK) != 0) GPALSleep().milliSleep(5);
  }
};

const std::map<std::string, std::function<void(const Call&)>>& actions() {
  static const std::map<std::string, std::function<void(const Call&)>> actions = {
      {"subscribeEvent", [](auto& call) { call.replyDone(call.service.subscribe(call.caller())); }},
      {"unsubscribeEvent",
       [](auto& call) { call.replyDone(call.service.unsubscribe(call.caller())); }},
      {"tellEvent", [](auto& call) { call.service.tell(call.text("text"), call.count()); }},
      {"tellLaterEvent",
       [](auto& call) { call.service.tellLater(call.text("text"), call.count()); }},
      {"sayEvent", [](auto& call) { call.echo(); }},
      {"repeatEvent", [](auto& call) { call.echo(), call.echo(); }},
      {"babbleEvent", [](auto& call) { call.send(call.text("bytes")); }},
      {"waitEvent", [](auto& call) { call.waitForFile(); }},
      {"failEvent", [](auto&) { throw std::runtime_error("the fake is broken"); }},
      {"clingEvent", [](auto& call) { call.service.cling(); }}};
  return actions;
}

class FakeInvoker : public Invoker {
 public:
  void initInvoker(FrameworkContext* context) override { m_context = context; }

  void handleMessage(Executable* executable, const char* data, int length,
                     InvokerResponse* response) override {
    const std::unique_ptr<InvokerResponse> owned(response);
    Call call{dynamic_cast<FakeService&>(*executable), *m_context, *response, {}};
    std::istringstream in(std::string(data, static_cast<std::size_t>(length)));
    if (m_context->getSerializer(response->getFormat())->decode(in, call.request) != 1) return;
    const auto found = actions().find(call.request.getName());
    if (found != actions().end()) found->second(call);
  }

 private:
  FrameworkContext* m_context = nullptr;
};

}  // namespace

#define ENTRY_POINT extern "C" __attribute__((visibility("default"))) void*

ENTRY_POINT createFakeService();
ENTRY_POINT createFakeServiceInvoker();
ENTRY_POINT createFakeServiceObserverProxy();

void* createFakeService() { return static_cast<Service*>(new FakeService); }
void* createFakeServiceInvoker() { return static_cast<Invoker*>(new FakeInvoker); }
void* createFakeServiceObserverProxy() { return static_cast<Proxy*>(new FakeProxy); }
