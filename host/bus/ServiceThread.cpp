#include "host/bus/ServiceThread.h"

#include <exception>
#include <sstream>
#include <utility>
#include <variant>

#include "framework/JsonMessageSerializer.h"
#include "host/bus/Arguments.h"
#include "host/loader/HostLog.h"

namespace host {
namespace {

constexpr const char* kUnknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";
constexpr const char* kInvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr const char* kLimitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
constexpr const char* kFailed = "org.freedesktop.DBus.Error.Failed";

constexpr const char* kUnsubscribe = "unsubscribeEvent";

/// Keeps the invoker's reply for the service thread. The invoker owns the response and may use it
/// after it has handled the message; such a late reply is dropped.
class CallResponse : public InvokerResponse {
 public:
  struct Reply {
    bool given = false;
    bool tooLate = false;
    std::string bytes;
  };

  CallResponse(const std::string& caller, const std::shared_ptr<Reply>& reply)
      : m_format(JsonMessageSerializer::formatName()), m_caller(caller), m_reply(reply) {}

  [[nodiscard]] const std::string& getFormat() const override { return m_format; }
  [[nodiscard]] const std::string& getCallerAddress() const override { return m_caller; }

  void send(const char* data, int length) override {
    if (m_reply->given || m_reply->tooLate) {
      HOST_LOG_ERROR("dropped a reply to %s: %s", m_caller.c_str(),
                     m_reply->given ? "it has got one already" : "the message is finished");
      return;
    }
    if (data == nullptr || length < 0) return;
    m_reply->bytes.assign(data, static_cast<std::size_t>(length));
    m_reply->given = true;
  }

 private:
  const std::string m_format;
  const std::string m_caller;
  const std::shared_ptr<Reply> m_reply;
};

Method decodeReply(const std::string& bytes) {
  std::istringstream in(bytes);
  Method reply;
  if (JsonMessageSerializer().decode(in, reply) == 1) return reply;
  throw std::runtime_error("can't decode the service's reply");
}

}  // namespace

ServiceThread::ServiceThread(const ServicePlugin& plugin, PhoneContext& context,
                             Observers& observers, WorkQueue& queue, std::set<std::string> members)
    : m_plugin(plugin),
      m_context(context),
      m_observers(observers),
      m_queue(queue),
      m_members(std::move(members)) {}

ServiceThread::~ServiceThread() { stop(); }

void ServiceThread::start() {
  std::promise<void> started;
  auto done = started.get_future();
  m_thread = std::thread([this, &started] { run(started); });
  try {
    done.get();
  } catch (...) {
    m_thread.join();
    throw;
  }
}

void ServiceThread::stop() {
  m_queue.close();
  if (m_thread.joinable()) m_thread.join();
}

void ServiceThread::run(std::promise<void>& started) {
  try {
    createService();
  } catch (...) {
    destroyService();
    started.set_exception(std::current_exception());
    return;
  }
  started.set_value();
  serve();
  destroyService();
}

void ServiceThread::createService() {
  m_service = m_plugin.createService();
  m_invoker = m_plugin.createInvoker();
  m_service->init(m_context);
  m_service->run();
  m_invoker->initInvoker(&m_context);
}

void ServiceThread::serve() {
  while (true) {
    WorkQueue::Work work = m_queue.take();
    if (!work.call && !work.task) return;
    if (work.call)
      deliver(*work.call);
    else
      work.task();
  }
}

void ServiceThread::destroyService() {
  if (m_service) m_service->shutdown();
  // First: its destructor joins its threads, which may notify observers until then.
  m_service.reset();
  m_invoker.reset();
  m_observers.clear();
}

void ServiceThread::deliver(ServiceCall& call) {
  Method request(call.member(), Method::REQUEST);
  std::string problem;
  const bool known = m_members.count(call.member()) != 0;
  try {
    const bool readable = readArguments(call.body(), Parameter::IN, request, problem);
    std::optional<Method> reply;
    // The service fetches parameters by name, so it gets a message without those that can't be
    // read. But it must not act on a message of its own whose parameters are all unknown.
    if (readable || !known) {
      m_observers.beginMessage(call.connection(), call.member() != kUnsubscribe);
      reply = hand(request, call.caller());
    }
    if (!known)
      call.refuse(kUnknownMethod, "the service has no method \"" + call.member() + "\"");
    else if (!problem.empty())
      call.refuse(kInvalidArgs, problem);
    else
      answer(call, reply);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("%s failed: %s", call.member().c_str(), error.what());
    call.refuse(kFailed, std::string("the service failed: ") + error.what());
  }
}

void ServiceThread::answer(ServiceCall& call, const std::optional<Method>& reply) {
  if (!reply) {
    call.answer(nullptr);
    return;
  }
  GVariant* body = g_variant_ref_sink(makeArguments(*reply, Parameter::OUT));
  if (g_variant_get_size(body) <= kMaxBody)
    call.answer(body);
  else
    call.refuse(kLimitsExceeded, "the reply is too large for the bus");
  g_variant_unref(body);
}

std::optional<Method> ServiceThread::hand(const Method& request, const std::string& caller) {
  std::ostringstream out;
  JsonMessageSerializer().encode(request, out);
  const auto reply = std::make_shared<CallResponse::Reply>();
  invoke(request.getName(), out.str(), new CallResponse(caller, reply));
  reply->tooLate = true;
  if (!reply->given) return std::nullopt;
  return decodeReply(reply->bytes);
}

/// The invoker takes ownership of `response`.
void ServiceThread::invoke(const std::string& name, const std::string& bytes,
                           InvokerResponse* response) {
  const auto finish = [&] {
    setActivity("");
    if (m_listener.after) m_listener.after(name);
  };
  if (m_listener.before) m_listener.before(name);
  setActivity(name);
  try {
    m_invoker->handleMessage(m_service.get(), bytes.data(), static_cast<int>(bytes.size()),
                             response);
  } catch (...) {
    finish();
    throw;
  }
  finish();
}

std::optional<bool> ServiceThread::unsubscribe(const std::string& caller) {
  try {
    const std::optional<Method> reply = hand(Method(kUnsubscribe, Method::REQUEST), caller);
    if (!reply) return std::nullopt;
    for (const Parameter& parameter : reply->getParameters())
      if (parameter.direction == Parameter::OUT && std::holds_alternative<bool>(parameter.value))
        return std::get<bool>(parameter.value);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("can't end the subscriptions of %s: %s", caller.c_str(), error.what());
  }
  return std::nullopt;
}

void ServiceThread::tell(const Method& message, std::function<bool()> wanted) {
  m_queue.push([this, message, wanted = std::move(wanted)] {
    try {
      if (wanted()) static_cast<void>(hand(message, Observers::kHost));
    } catch (const std::exception& error) {
      HOST_LOG_ERROR("%s failed: %s", message.getName().c_str(), error.what());
    }
  });
}

void ServiceThread::callerLeft(const std::string& caller) {
  m_queue.push([this, caller] {
    m_observers.callerLeft(caller, [this](const std::string& name) { return unsubscribe(name); });
  });
}

void ServiceThread::allCallersLeft() {
  m_queue.push([this] {
    m_observers.allLeft([this](const std::string& name) { return unsubscribe(name); });
  });
}

void ServiceThread::setActivity(const std::string& message) {
  const std::lock_guard lock(m_mutex);
  m_message = message;
  m_since = std::chrono::steady_clock::now();
}

ServiceThread::Activity ServiceThread::activity() const {
  const std::lock_guard lock(m_mutex);
  if (m_message.empty()) return {};
  const auto since = std::chrono::steady_clock::now() - m_since;
  return {m_message, std::chrono::duration_cast<std::chrono::seconds>(since)};
}

}  // namespace host
