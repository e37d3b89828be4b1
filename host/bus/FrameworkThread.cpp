#include "host/bus/FrameworkThread.h"

#include <exception>
#include <sstream>
#include <utility>
#include <variant>

#include "framework/MessageSerializer.h"
#include "host/bus/Arguments.h"
#include "host/bus/Limits.h"
#include "host/loader/HostLog.h"

namespace host {
namespace {

constexpr const char* kUnknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";
constexpr const char* kInvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr const char* kLimitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
constexpr const char* kFailed = "org.freedesktop.DBus.Error.Failed";

}  // namespace

FrameworkThread::FrameworkThread(const ServicePlugin& plugin, PhoneContext& context,
                                 Observers& observers, WorkQueue& queue,
                                 std::set<std::string> members)
    : m_plugin(plugin),
      m_context(context),
      m_observers(observers),
      m_queue(queue),
      m_members(std::move(members)) {}

FrameworkThread::~FrameworkThread() { stop(); }

void FrameworkThread::start() {
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

void FrameworkThread::stop() {
  m_queue.close();
  if (m_thread.joinable()) m_thread.join();
}

void FrameworkThread::run(std::promise<void>& started) {
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

void FrameworkThread::createService() {
  m_service = m_plugin.createService();
  m_invoker = m_plugin.createInvoker();
  m_service->init(m_context);
  m_service->run();
  m_invoker->initInvoker(&m_context);
}

void FrameworkThread::serve() {
  while (true) {
    WorkQueue::Work work = m_queue.take();
    if (!work.call && !work.task) return;
    if (work.call)
      deliver(*work.call);
    else
      work.task();
  }
}

void FrameworkThread::destroyService() {
  if (m_service) m_service->shutdown();
  // First, since it joins its own threads, which may still notify observers until then.
  m_service.reset();
  m_invoker.reset();
  m_observers.clear();
}

void FrameworkThread::deliver(ServiceCall& call) {
  Method request(call.member(), Method::REQUEST);
  std::string problem;
  const bool known = m_members.count(call.member()) != 0;
  try {
    const bool readable = readArguments(call.body(), Parameter::IN, request, problem);
    std::optional<Method> reply;
    if (readable) {
      m_observers.useConnection(call.connection());
      reply = hand(request, call.caller());
    }
    if (!known)
      call.refuse(kUnknownMethod, "the service has no message \"" + call.member() + "\"");
    else if (!readable)
      call.refuse(kInvalidArgs, problem);
    else
      answer(call, reply);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("%s failed: %s", call.member().c_str(), error.what());
    call.refuse(kFailed, std::string("the telephone failed at this message: ") + error.what());
  }
}

void FrameworkThread::answer(ServiceCall& call, const std::optional<Method>& reply) {
  if (!reply) {
    call.answer(nullptr);
    return;
  }
  GVariant* body = g_variant_ref_sink(makeArguments(*reply, Parameter::OUT));
  if (g_variant_get_size(body) <= kMaxBody)
    call.answer(body);
  else
    call.refuse(kLimitsExceeded, "the answer is too large for the bus");
  g_variant_unref(body);
}

std::optional<Method> FrameworkThread::hand(const Method& request, const std::string& caller) {
  std::ostringstream out;
  JsonMessageSerializer().encode(request, out);
  const std::string bytes = out.str();
  const auto answer = std::make_shared<CallResponse::Answer>();
  handOver(request.getName(), bytes, new CallResponse(caller, answer));
  answer->tooLate = true;
  if (!answer->given) return std::nullopt;
  return readReply(answer->bytes);
}

/// The response is the invoker's.
void FrameworkThread::handOver(const std::string& name, const std::string& bytes,
                               CallResponse* response) {
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

std::optional<Method> FrameworkThread::readReply(const std::string& bytes) {
  std::istringstream in(bytes);
  Method reply;
  if (JsonMessageSerializer().decode(in, reply) == 1) return reply;
  throw std::runtime_error("the service's answer can't be read");
}

std::optional<bool> FrameworkThread::unsubscribe(const std::string& caller) {
  try {
    const std::optional<Method> reply = hand(Method("unsubscribeEvent", Method::REQUEST), caller);
    if (!reply) return std::nullopt;
    for (const Parameter& parameter : reply->getParameters())
      if (parameter.direction == Parameter::OUT && std::holds_alternative<bool>(parameter.value))
        return std::get<bool>(parameter.value);
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("the subscriptions of %s could not be ended: %s", caller.c_str(), error.what());
  }
  return std::nullopt;
}

void FrameworkThread::tell(const Method& message, std::function<bool()> wanted) {
  m_queue.push([this, message, wanted = std::move(wanted)] {
    try {
      if (wanted()) static_cast<void>(hand(message, Observers::kHost));
    } catch (const std::exception& error) {
      HOST_LOG_ERROR("%s failed: %s", message.getName().c_str(), error.what());
    }
  });
}

void FrameworkThread::callerLeft(const std::string& caller) {
  m_queue.push([this, caller] {
    m_observers.callerLeft(caller, [this](const std::string& name) { return unsubscribe(name); });
  });
}

void FrameworkThread::allCallersLeft() {
  m_queue.push([this] {
    m_observers.allLeft([this](const std::string& name) { return unsubscribe(name); });
  });
}

void FrameworkThread::setActivity(const std::string& message) {
  const std::lock_guard lock(m_mutex);
  m_message = message;
  m_since = std::chrono::steady_clock::now();
}

FrameworkThread::Activity FrameworkThread::activity() const {
  const std::lock_guard lock(m_mutex);
  if (m_message.empty()) return {};
  const auto since = std::chrono::steady_clock::now() - m_since;
  return {m_message, std::chrono::duration_cast<std::chrono::seconds>(since)};
}

}  // namespace host
