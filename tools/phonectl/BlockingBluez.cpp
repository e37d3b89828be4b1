#include "tools/phonectl/BlockingBluez.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <thread>

#include "cards/Card.h"
#include "cards/SafeText.h"

namespace phonectl {

namespace {

constexpr unsigned kTimeoutMilliseconds = 10000;
/// The kernel pages a device for five seconds; one in range answers within three.
constexpr std::chrono::seconds kServiceTimeout{20};

bool equalNames(const std::string& one, const std::string& other) {
  char* const folded = g_utf8_casefold(one.c_str(), -1);
  char* const otherFolded = g_utf8_casefold(other.c_str(), -1);
  const bool equal = g_strcmp0(folded, otherFolded) == 0;
  g_free(folded);
  g_free(otherFolded);
  return equal;
}

std::string listed(const std::map<std::string, std::string>& addresses) {
  std::string text;
  for (const auto& [address, name] : addresses) text += (text.empty() ? "" : ", ") + address;
  return text;
}

GVariant* classicOnly() {
  GVariantBuilder filter;
  g_variant_builder_init(&filter, G_VARIANT_TYPE_VARDICT);
  g_variant_builder_add(&filter, "{sv}", "Transport", g_variant_new_string("bredr"));
  return g_variant_new("(a{sv})", &filter);
}

}  // namespace

BlockingBluez::BlockingBluez(const StopSignals& signals) : m_signals(signals) {
  m_bluez.start([this] { m_answered = true; });
  waitUntil([this] { return m_answered; }, kTimeoutMilliseconds);
}

bool BlockingBluez::waitUntil(const std::function<bool()>& condition, unsigned milliseconds) {
  const bool holds = runUntil(m_signals, condition, milliseconds);
  throwIfLeft(m_signals);
  return holds;
}

std::string BlockingBluez::missing() const {
  return m_answered ? cards::safeText(m_bluez.missing()) : "BlueZ doesn't answer";
}

std::string BlockingBluez::scan(const host::AdapterFacts& adapter, int seconds) {
  const std::string path = adapter.path;
  // Skips the five seconds of low-energy scan, which finds no device that accepts cards. If BlueZ
  // refuses the filter, it still scans.
  static_cast<void>(ask(path, "SetDiscoveryFilter", classicOnly()));
  const std::string problem = ask(path, "StartDiscovery", nullptr);
  if (!problem.empty()) return problem;
  waitUntil([] { return false; }, static_cast<unsigned>(seconds) * 1000);
  return ask(path, "StopDiscovery", nullptr);
}

// The answer is shared: it may still arrive after the timeout.
std::string BlockingBluez::ask(const std::string& path, const char* method, GVariant* arguments) {
  const auto answer = std::make_shared<std::optional<std::string>>();
  m_bluez.call(path, host::bluez::kAdapter, method, arguments,
               [answer](const host::Bluez::Reply& reply) {
                 const std::string& why = reply.text.empty() ? reply.error : reply.text;
                 *answer = reply.body ? std::string() : cards::safeText(why);
               });
  waitUntil([&] { return answer->has_value(); }, kTimeoutMilliseconds);
  return answer->value_or("BlueZ doesn't answer");
}

std::string BlockingBluez::addressOf(const std::string& name) const {
  std::map<std::string, std::string> paired;
  std::map<std::string, std::string> all;
  for (const auto& [path, device] : objects().devices()) {
    if (device.address.empty() || !equalNames(device.name, name)) continue;
    all[device.address] = device.name;
    if (device.paired) paired[device.address] = device.name;
  }
  const auto& found = paired.empty() ? all : paired;
  if (found.size() == 1) return found.begin()->first;
  const std::string shown = cards::safeText(name, cards::kMaxShown);
  if (found.empty())
    throw Failure(kFailed, "no known device is named \"" + shown + "\"",
                  "list devices with: phonectl devices; or give its address");
  throw Failure(kFailed, "several devices are named \"" + shown + "\"",
                "give the address of one: " + listed(found));
}

host::SdpQuery::Answer askServices(const StopSignals& signals, const std::string& address,
                                   const std::string& source) {
  host::SdpQuery query;
  host::SdpQuery::Answer answer;
  std::atomic<bool> done{false};
  std::thread asking([&] {
    answer = query.ask(address, source, kServiceTimeout);
    done = true;
  });
  const auto end = std::chrono::duration_cast<std::chrono::milliseconds>(kServiceTimeout * 2);
  if (!runUntil(
          signals, [&] { return done.load(); }, static_cast<unsigned>(end.count())))
    query.cancel();
  asking.join();
  throwIfLeft(signals);
  return answer;
}

}  // namespace phonectl
