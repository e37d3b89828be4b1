#include "host/app/Phone.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <vector>

#include "framework/Storage.h"
#include "host/app/ImagesFolder.h"
#include "host/app/Status.h"
#include "host/bus/DirectoryObject.h"
#include "host/bus/ServiceObject.h"
#include "host/directory/PhoneBookBackend.h"
#include "host/loader/HostLog.h"
#include "host/push/JournalAnswer.h"

namespace host {
namespace {

int toInt(std::size_t value) { return static_cast<int>(std::min<std::size_t>(value, INT_MAX)); }

PhoneBookOptions bookOptions(const std::string& connection) {
  PhoneBookOptions options;
  options.connection = connection;
  return options;
}

}  // namespace

Phone::Phone(const Options& options, MainLoop& loop)
    : m_options(options),
      m_names(options.service),
      m_directory(bookOptions(options.connection)),
      m_journal(options.connection),
      m_ledger([this](const JournalEntry& entry) { m_journal.put(entry); }),
      m_tap(m_directory, m_ledger),
      m_ownObserver(m_ledger),
      m_bluetooth(options.adapter),
      m_linkPolicy(
          options.policy, m_bluetooth.peers(), m_radio, m_ledger,
          [this, &loop](int channel) {
            loop.post([this, channel] { m_bluetooth.listening(channel); });
          },
          [this] { acceptUnasked(); }),
      m_plugin(options.plugin, m_names),
      m_serviceObject(makeServiceObject(m_names, m_plugin.readIntrospection())),
      m_directoryObject(makeDirectoryObject(m_directory)),
      m_statusObject(makeStatusObject(operations())),
      m_notifier(m_names),
      m_bus(loop, options.bus, m_names, m_queue, m_notifier, events()),
      m_observers(m_plugin, m_names, m_context, m_notifier, m_bus),
      m_thread(m_plugin, m_context, m_observers, m_queue, membersOf(*m_serviceObject)) {
  m_context.addService("DirectoryServiceIfc", m_tap);
  m_context.addService("MobilityServiceIfc", m_mobility);
  m_context.setProxySource(m_observers);
  for (BusObject* object : {m_serviceObject.get(), m_directoryObject.get(), m_statusObject.get()})
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

PhoneOperations Phone::operations() {
  PhoneOperations operations;
  operations.status = [this] { return status(); };
  operations.makeVisible = [this](int seconds) { m_bluetooth.makeVisible(seconds); };
  operations.journal = [this](int limit) { return journalAnswer(m_journal.read(limit)); };
  return operations;
}

FrameworkThread::Listener Phone::listener() {
  FrameworkThread::Listener listener;
  listener.before = [this](const std::string& message) {
    if (message == cardmessage::kAccepted) m_ledger.accepting();
    if (message == cardmessage::kRejected) m_ledger.rejecting();
  };
  listener.after = [this](const std::string& message) {
    if (message == cardmessage::kAccepted) m_ledger.accepted();
    if (message == cardmessage::kRejected) m_ledger.rejected();
  };
  return listener;
}

/// Hears of the cards as every observer does. A service without cards isn't asked.
void Phone::takePartInCards() {
  if (!m_thread.knows(cardmessage::kAccepted) || !m_thread.knows(cardmessage::kSubscribe)) return;
  m_thread.tell(Method(cardmessage::kSubscribe, Method::REQUEST), [] { return true; });
}

/// As if the user had switched it on.
void Phone::receiveUnasked() {
  if (!m_options.receive) return;
  Method enable("obexEnableEvent", Method::REQUEST);
  enable.addBoolParameter("obexEnableParam", true, Parameter::IN);
  m_thread.tell(enable, [] { return true; });
}

/// A trusted device that has put all its cards has gone: they are stored as if the user had said
/// so. When that can't be done now, the end of the link that is in the way brings it up again.
void Phone::acceptUnasked() {
  if (!m_ledger.wantsAcceptance()) return;
  m_thread.tell(Method(cardmessage::kAccepted, Method::REQUEST), [this] {
    const bool begun = m_ledger.beginAcceptance();
    if (begun) HOST_LOG_ERROR("the cards that wait are stored: all are from trusted devices");
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
  takePartInCards();
  m_bus.open();
  m_bluetooth.start();
  receiveUnasked();
  const std::string radio = RadioStatus::describeRadio();
  if (radio != "ready")
    std::fprintf(stderr, "phone-host: %s; cards can be neither received nor sent\n", radio.c_str());
  sayReady();
}

void Phone::sayReady() const {
  std::printf("phone-host: ready on %s as %s\n", m_bus.describe().c_str(), Bus::kName);
  std::fflush(stdout);
}

void Phone::stop() {
  m_bus.stopDeliveries();
  m_thread.stop();
  setRadioLink(nullptr);
  m_bluetooth.stop();
  m_ledger.end();
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
  const RadioStatus::State radio = m_radio.state();
  status.addStringParameter("radio", RadioStatus::describeRadio(), Parameter::OUT);
  status.addBoolParameter("listening", radio.listening, Parameter::OUT);
  status.addIntParameter("channel", radio.channel, Parameter::OUT);
  status.addStringParameter("peer", radio.peer, Parameter::OUT);
  status.addStringParameter("lastPeer", radio.lastPeer, Parameter::OUT);
  status.addIntParameter("objects", toInt(radio.objects), Parameter::OUT);
  status.addStringParameter("lastObject", radio.lastObject, Parameter::OUT);
  status.addIntParameter("lastSize", toInt(radio.lastSize), Parameter::OUT);
  status.addIntParameter("lastAnswer", radio.lastAnswer, Parameter::OUT);
  status.addStringParameter("lastLinkEnd", radio.lastLinkEnd, Parameter::OUT);
}

void Phone::addBluetoothStatus(Method& status) const {
  const Bluetooth::State state = m_bluetooth.state();
  const LinkPolicy::State door = m_linkPolicy.state();
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
  text("peerName", door.peerName);
  text("peerTrust", door.peerStanding);
  text("lastDecision", door.lastDecision);
}

void Phone::addWorkStatus(Method& status) const {
  const FrameworkThread::Activity activity = m_thread.activity();
  status.addBoolParameter("busy", !activity.message.empty(), Parameter::OUT);
  status.addStringParameter("busyWith", activity.message, Parameter::OUT);
  status.addIntParameter("busySeconds", static_cast<int>(activity.since.count()), Parameter::OUT);
  status.addIntParameter("queued", toInt(m_queue.waitingCalls()), Parameter::OUT);
  status.addIntParameter("observers", toInt(m_observers.count()), Parameter::OUT);
}

}  // namespace host
