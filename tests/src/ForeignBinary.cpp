#include "tests/src/ForeignBinary.h"

// Deliberately without the project's headers: only the order of the slots counts.

#define CALLS_BY_SLOT __attribute__((no_sanitize("undefined"), noinline))

namespace foreign {

// External linkage: otherwise the compiler concludes that nothing implements these.

struct ServiceSlots {
  virtual void s0(bool enable) = 0;
  virtual bool s1(void* observer) = 0;
  virtual bool s2(void* observer) = 0;
  virtual void s3(const void* contact) = 0;
  virtual void s4(const std::string& address, int channel) = 0;
  virtual void s5() = 0;
  virtual void s6() = 0;
  virtual void s7() = 0;
  virtual void s8() = 0;
  virtual void s9() = 0;

 protected:
  ~ServiceSlots() = default;
};

struct ObserverSlots {
  virtual void s0(const std::string& card, int count) = 0;
  virtual void s1(const std::string& error, int count) = 0;
  virtual void s2(const std::string& info) = 0;
  virtual void s3(const std::string& info) = 0;
  virtual void s4(const std::string& info, const std::string& address, int channel) = 0;
  virtual void s5(const std::string& card) = 0;

 protected:
  ~ObserverSlots() = default;
};

/// The service object: destructor, init, shutdown, timerEvent, handleMsg, run, then the interface's
/// operations.
struct ServiceObjectSlots {
  virtual ~ServiceObjectSlots() = default;
  virtual void init(void* context) = 0;
  virtual void shutdown() = 0;
  virtual void timerEvent(int id) = 0;
  virtual void handleMsg(const char*, int, std::string, void*, void*) = 0;
  virtual void run() = 0;
  virtual void enable(bool enable) = 0;
  virtual bool subscribe(void* observer) = 0;
  virtual bool unsubscribe(void* observer) = 0;
  virtual void sendContact(const void* contact) = 0;
  virtual void sendVCard(const std::string& address, int channel) = 0;
  virtual void cancelVCard() = 0;
  virtual void cancelTransmission() = 0;
  virtual void accepted() = 0;
  virtual void acceptFinished() = 0;
  virtual void rejected() = 0;
  virtual int writeFile(const char* data, int size, const std::string& path) = 0;
};

/// The proxy: destructor, init, shutdown, timerEvent, initProxy, then the callbacks.
struct ProxySlots {
  virtual ~ProxySlots() = default;
  virtual void init(void* context) = 0;
  virtual void shutdown() = 0;
  virtual void timerEvent(int id) = 0;
  virtual void initProxy(void* request) = 0;
  virtual void received(const std::string& card, int count) = 0;
  virtual void error(const std::string& error, int count) = 0;
  virtual void destRequest(const std::string& info) = 0;
  virtual void sendSucc(const std::string& info) = 0;
  virtual void sendErr(const std::string& info, const std::string& address, int channel) = 0;
  virtual void accept(const std::string& card) = 0;
};

struct ThreadSlots {
  virtual ~ThreadSlots() = default;
  virtual void run() = 0;
  virtual int priority() = 0;
  virtual int type() = 0;
};

CALLS_BY_SLOT void callService(void* serviceIfc, int slot, void* observer, const void* contact) {
  auto* service = static_cast<ServiceSlots*>(serviceIfc);
  switch (slot) {
    case 0:
      return service->s0(false);
    case 1:
      service->s1(observer);
      return;
    case 2:
      service->s2(observer);
      return;
    case 3:
      return service->s3(contact);
    case 4:
      return service->s4("00:11:22:33:44:55", 7);
    case 5:
      return service->s5();
    case 6:
      return service->s6();
    case 7:
      return service->s7();
    case 8:
      return service->s8();
    default:
      return service->s9();
  }
}

CALLS_BY_SLOT void callObserver(void* observerIfc, int slot, const std::string& text) {
  auto* observer = static_cast<ObserverSlots*>(observerIfc);
  switch (slot) {
    case 0:
      return observer->s0(text, 1);
    case 1:
      return observer->s1(text, 2);
    case 2:
      return observer->s2(text);
    case 3:
      return observer->s3(text);
    case 4:
      return observer->s4(text, "address", 3);
    default:
      return observer->s5(text);
  }
}

CALLS_BY_SLOT void callServiceObject(void* service, int slot, void* context, void* observer,
                                     const void* contact) {
  auto* object = static_cast<ServiceObjectSlots*>(service);
  switch (slot) {
    case 0:
      return object->init(context);
    case 1:
      return object->shutdown();
    case 2:
      return object->timerEvent(1);
    case 3:
      return object->run();
    case 4:
      return object->enable(false);
    case 5:
      object->subscribe(observer);
      return;
    case 6:
      object->unsubscribe(observer);
      return;
    case 7:
      return object->sendContact(contact);
    case 8:
      return object->cancelVCard();
    case 9:
      return object->cancelTransmission();
    case 10:
      return object->accepted();
    case 11:
      return object->acceptFinished();
    case 12:
      return object->rejected();
    case 13:
      return object->sendVCard("00:11:22:33:44:55", 7);
    default:
      object->writeFile("", 0, "/data/images/x");
      return;
  }
}

CALLS_BY_SLOT void callProxy(void* proxy, int slot, void* context, void* request) {
  auto* object = static_cast<ProxySlots*>(proxy);
  switch (slot) {
    case 0:
      return object->init(context);
    case 1:
      return object->shutdown();
    case 2:
      return object->timerEvent(1);
    case 3:
      return object->initProxy(request);
    case 4:
      return object->received("x", 1);
    case 5:
      return object->error("x", 2);
    case 6:
      return object->destRequest("x");
    case 7:
      return object->sendSucc("x");
    case 8:
      return object->sendErr("x", "address", 3);
    default:
      return object->accept("x");
  }
}

CALLS_BY_SLOT int threadPriority(void* threadable) {
  return static_cast<ThreadSlots*>(threadable)->priority();
}

CALLS_BY_SLOT int threadType(void* threadable) {
  return static_cast<ThreadSlots*>(threadable)->type();
}

}  // namespace foreign
