#include "host/app/Phone.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <vector>

#include "dbus/Values.h"
#include "framework/Storage.h"
#include "host/app/StorageChecks.h"
#include "host/bus/Arguments.h"
#include "host/directory/PhoneBookBackend.h"
#include "host/loader/HostLog.h"

namespace host {
namespace {

constexpr const char* kPhonePath = "/org/obexphone/Phone";
constexpr const char* kPhoneInterface = "org.obexphone.Phone";
constexpr const char* kPhoneXml = R"(
<node>
  <interface name="org.obexphone.Phone">
    <method name="Status">
      <arg name="status" type="a{sv}" direction="out"/>
    </method>
    <method name="SetVisible">
      <arg name="seconds" type="i" direction="in"/>
    </method>
    <method name="Journal">
      <arg name="limit" type="i" direction="in"/>
      <arg name="entries" type="aa{sv}" direction="out"/>
    </method>
  </interface>
</node>)";

constexpr const char* kEnable = "obexEnableEvent";
constexpr const char* kEnableParameter = "obexEnableParam";

/// Longest visible time, in seconds.
constexpr int kMaxVisible = 24 * 60 * 60;

/// Most journal entries in a reply.
constexpr int kMaxEntries = 10000;

int toInt(std::size_t value) { return static_cast<int>(std::min<std::size_t>(value, INT_MAX)); }

PhoneBookOptions bookOptions(const std::string& connection) {
  PhoneBookOptions options;
  options.connection = connection;
  return options;
}

int numberIn(GVariant* arguments) {
  gint32 number = 0;
  g_variant_get(arguments, "(i)", &number);
  return number;
}

int visibleSecondsIn(GVariant* arguments) {
  const int seconds = numberIn(arguments);
  if (seconds < -1 || seconds > kMaxVisible)
    throw BusError("org.freedesktop.DBus.Error.InvalidArgs",
                   "seconds must be 1 to " + std::to_string(kMaxVisible) +
                       ", -1 for always, or 0 for not visible");
  return seconds;
}

/// A tuple of one `aa{sv}`.
GVariant* makeJournal(const std::vector<JournalEntry>& entries) {
  GVariantBuilder all;
  g_variant_builder_init(&all, G_VARIANT_TYPE("aa{sv}"));
  for (const JournalEntry& entry : entries) {
    g_variant_builder_open(&all, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&all, "{sv}", "time", g_variant_new_int64(entry.time));
    g_variant_builder_add(&all, "{sv}", "phone", dbus::textVariant(entry.phone));
    g_variant_builder_add(&all, "{sv}", "peer", dbus::textVariant(entry.peer));
    g_variant_builder_add(&all, "{sv}", "peerName", dbus::textVariant(entry.peerName));
    g_variant_builder_add(&all, "{sv}", "object", dbus::textVariant(entry.object));
    g_variant_builder_add(&all, "{sv}", "size", g_variant_new_int64(entry.size));
    g_variant_builder_add(&all, "{sv}", "link", dbus::textVariant(entry.link));
    g_variant_builder_add(&all, "{sv}", "phonebook", dbus::textVariant(entry.book));
    g_variant_builder_close(&all);
  }
  return g_variant_ref_sink(g_variant_new("(aa{sv})", &all));
}

}  // namespace

Phone::Phone(const Options& options, MainLoop& loop)
    : m_options(options),
      m_names(options.service),
      m_directory(bookOptions(options.connection)),
      m_journal(options.connection),
      m_tracker([this](const JournalEntry& entry) { m_journal.put(entry); }),
      m_tap(m_directory, m_tracker),
      m_ownObserver(m_tracker),
      m_bluetooth(options.adapter),
      m_linkPolicy(
          {options.policy, options.retryForbidden}, m_bluetooth.peers(), m_tracker,
          [this, &loop](int channel) {
            loop.post([this, channel] { m_bluetooth.listening(channel); });
          },
          [this] { acceptUnasked(); }),
      m_plugin(options.plugin, m_names),
      m_serviceObject(makeServiceObject(m_names, m_plugin.readIntrospection())),
      m_directoryObject(makeDirectoryObject(m_directory)),
      m_phoneObject(makePhoneObject()),
      m_queue([this](const ServiceCall& call) { return watchForSwitchOff(call); }),
      m_notifier(m_names),
      m_bus(loop, options.bus, m_names, m_queue, m_notifier, events()),
      m_observers(m_plugin, m_names, m_context, m_notifier,
                  [this](const Notifier::Connection& connection, const std::string& caller) {
                    m_bus.watch(connection, caller);
                  }),
      m_thread(m_plugin, m_context, m_observers, m_queue, m_serviceObject->methods()) {
  m_context.addService("DirectoryServiceIfc", m_tap);
  m_context.addService("MobilityServiceIfc", m_mobility);
  m_context.setProxySource([this](const std::string& interfaceName, const std::string& address) {
    return m_observers.getProxy(interfaceName, address);
  });
  for (BusObject* object : {m_serviceObject.get(), m_directoryObject.get(), m_phoneObject.get()})
    m_bus.add(*object);
}

Phone::~Phone() { stop(); }

Bus::Events Phone::events() {
  Bus::Events events;
  events.callerLeft = [this](const std::string& caller) {
    m_notifier.forget(caller);
    m_thread.callerLeft(caller);
  };
  events.lost = [this] {
    m_notifier.forgetAll();
    m_thread.allCallersLeft();
  };
  events.back = [this] { sayReady(); };
  return events;
}

std::unique_ptr<BusObject> Phone::makePhoneObject() {
  return std::make_unique<BusObject>(kPhonePath, kPhoneInterface, kPhoneXml,
                                     [this](const std::string& method, GVariant* arguments) {
                                       return handleCall(method, arguments);
                                     });
}

GVariant* Phone::handleCall(const std::string& method, GVariant* arguments) {
  if (method == "Status") return g_variant_ref_sink(makeArguments(status(), Parameter::OUT));
  if (method == "Journal")
    return makeJournal(m_journal.read(std::clamp(numberIn(arguments), 0, kMaxEntries)));
  m_bluetooth.makeVisible(visibleSecondsIn(arguments));
  return g_variant_ref_sink(g_variant_new_tuple(nullptr, 0));
}

ServiceThread::Listener Phone::listener() {
  ServiceThread::Listener listener;
  listener.before = [this](const std::string& message) {
    if (message == cardmessage::kAccepted) m_tracker.accepting();
    if (message == cardmessage::kRejected) m_tracker.rejecting();
  };
  listener.after = [this](const std::string& message) {
    if (message == cardmessage::kAccepted) m_tracker.accepted();
    if (message == cardmessage::kRejected) m_tracker.rejected();
  };
  return listener;
}

/// Makes the host an observer, if the service is one that receives cards.
void Phone::subscribeToCards() {
  if (!m_thread.knows(cardmessage::kAccepted) || !m_thread.knows(cardmessage::kSubscribe)) return;
  m_thread.tell(Method(cardmessage::kSubscribe, Method::REQUEST), [] { return true; });
}

/// Tells the link policy as soon as a call to switch receiving off is queued, until it is handled.
std::shared_ptr<void> Phone::watchForSwitchOff(const ServiceCall& call) {
  if (call.member() != kEnable) return nullptr;
  Method message(call.member(), Method::REQUEST);
  std::string problem;
  bool enable = true;
  readArguments(call.body(), Parameter::IN, message, problem);
  message.getBoolParameter(kEnableParameter, enable, Parameter::IN);
  return enable ? nullptr : m_linkPolicy.switchOff();
}

void Phone::startReceiving() {
  if (!m_options.receive) return;
  Method enable(kEnable, Method::REQUEST);
  enable.addBoolParameter(kEnableParameter, true, Parameter::IN);
  m_thread.tell(enable, [] { return true; });
}

/// Stores the waiting cards without asking, if they all came from trusted devices. Called at the
/// end of every link, so a link that prevents it now only delays it.
void Phone::acceptUnasked() {
  if (!m_tracker.wantsAcceptance()) return;
  m_thread.tell(Method(cardmessage::kAccepted, Method::REQUEST), [this] {
    const bool begun = m_tracker.beginAcceptance();
    if (begun) HOST_LOG_INFO("storing the waiting cards: all are from trusted devices");
    return begun;
  });
}

void Phone::start() {
  m_journal.start();
  m_directory.init(m_context);
  m_mobility.init(m_context);
  setRadioLink(&m_linkPolicy);
  m_observers.observeAs(m_ownObserver);
  m_thread.listen(listener());
  m_thread.start();
  subscribeToCards();
  m_bus.open();
  m_bluetooth.start();
  startReceiving();
  const std::string radio = describeRadio();
  if (radio != "ready")
    std::fprintf(stderr, "phone-host: %s; cards can't be received or sent\n", radio.c_str());
  sayReady();
}

void Phone::sayReady() const {
  std::printf("phone-host: ready on %s as %s\n", m_bus.describe().c_str(), Bus::kName);
  std::fflush(stdout);
}

void Phone::stop() {
  m_bus.stopDeliveries();
  const auto switchedOff = m_linkPolicy.switchOff();
  m_thread.stop();
  setRadioLink(nullptr);
  m_bluetooth.stop();
  m_tracker.end();
  m_journal.stop();
  m_mobility.shutdown();
  m_bus.close();
  m_directory.shutdown();
}

Method Phone::status() const {
  Method status("Status", Method::REPLY);
  const auto text = [&status](const char* name, const std::string& value) {
    status.addStringParameter(name, value, Parameter::OUT);
  };
  text("version", PHONE_VERSION);
  text("service", m_options.service);
  text("plugin", m_plugin.file());
  text("phonebook", redactPassword(m_options.connection));
  text("images", Storage::defaultRoot());
  const Problem images = imagesProblem(Storage::defaultRoot());
  text("imagesProblem", images.text);
  text("imagesRemedy", images.remedy);
  const std::vector<std::string> photos = m_mobility.recentFiles();
  text("lastPhoto", photos.empty() ? "" : photos.front());
  status.addIntParameter("photos", toInt(m_mobility.count()), Parameter::OUT);
  addRadioStatus(status);
  addBluetoothStatus(status);
  addWorkStatus(status);
  return status;
}

void Phone::addRadioStatus(Method& status) const {
  const LinkPolicy::State link = m_linkPolicy.state();
  status.addStringParameter("radio", describeRadio(), Parameter::OUT);
  status.addBoolParameter("listening", link.listening, Parameter::OUT);
  status.addIntParameter("channel", link.channel, Parameter::OUT);
  status.addStringParameter("listenError", link.listenError, Parameter::OUT);
  status.addStringParameter("peer", link.peer, Parameter::OUT);
  status.addStringParameter("lastPeer", link.lastPeer, Parameter::OUT);
  status.addIntParameter("objects", toInt(link.objects), Parameter::OUT);
  status.addStringParameter("lastObject", link.lastObject, Parameter::OUT);
  status.addIntParameter("lastSize", toInt(link.lastSize), Parameter::OUT);
  status.addIntParameter("lastAnswer", link.lastAnswer, Parameter::OUT);
  status.addStringParameter("lastLinkEnd", link.lastLinkEnd, Parameter::OUT);
}

void Phone::addBluetoothStatus(Method& status) const {
  const Bluetooth::State state = m_bluetooth.state();
  const LinkPolicy::State link = m_linkPolicy.state();
  const auto text = [&status](const char* name, const std::string& value) {
    status.addStringParameter(name, value, Parameter::OUT);
  };
  text("bluetooth", state.missing.empty() ? "ready" : state.missing);
  text("bluez", state.bluez);
  text("adapter", state.adapter);
  text("adapterAddress", state.address);
  status.addBoolParameter("powered", state.powered, Parameter::OUT);
  status.addBoolParameter("discoverable", state.discoverable, Parameter::OUT);
  status.addIntParameter("visibleSeconds", state.visibleSeconds, Parameter::OUT);
  text("visibleProblem", state.visibleProblem);
  text("record", state.record);
  status.addBoolParameter("recordDenied", state.recordDenied, Parameter::OUT);
  text("strangers", m_options.policy.strangersWord());
  text("trusted", m_options.policy.trustedWord());
  text("peerName", link.peerName);
  text("peerTrust", link.peerTrust);
  text("lastDecision", link.lastDecision);
}

void Phone::addWorkStatus(Method& status) const {
  const ServiceThread::Activity activity = m_thread.activity();
  status.addBoolParameter("busy", !activity.message.empty(), Parameter::OUT);
  status.addStringParameter("busyWith", activity.message, Parameter::OUT);
  status.addIntParameter("busySeconds", static_cast<int>(activity.since.count()), Parameter::OUT);
  status.addIntParameter("queued", toInt(m_queue.waitingCalls()), Parameter::OUT);
  status.addIntParameter("observers", toInt(m_observers.count()), Parameter::OUT);
}

}  // namespace host
