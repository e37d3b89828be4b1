#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "tests/tools/PhoneFixture.h"
#include "tools/phonectl/PhoneObserver.h"

namespace {

using dbus::BusAddress;
using phonectl::kObserver;
using phonectl::PhoneBus;
using phonectl::PhoneObserver;
using testing::ElementsAre;
using testing::StartsWith;

/// Records notifications.
class Events : public phonectl::PhoneEvents {
 public:
  std::vector<std::string> told;

  void cardOffered(const std::string& message) override { told.push_back("offered " + message); }
  void cardsAccepted(const phonectl::Outcome& outcome) override {
    told.push_back(outcome.sentence());
  }
  void cardUnreadable() override { told.emplace_back("unreadable"); }
  void destinationWanted(const std::string& contact) override {
    told.push_back("where " + contact);
  }
  void contactSent(const std::string& contact) override { told.push_back("sent " + contact); }
  void contactNotSent(const std::string& contact, const std::string& address) override {
    told.push_back("not sent " + contact + " " + address);
  }
};

/// An observer on a bus, with the phone and a stranger that send it messages.
class Observer : public test::PhoneFixture {
 protected:
  void SetUp() override {
    PhoneFixture::SetUp();
    Gio::init();
    m_bus = std::make_unique<PhoneBus>(BusAddress(busAddress()));
    m_phone = std::make_unique<PhoneBus>(BusAddress(busAddress()));
    m_stranger = std::make_unique<PhoneBus>(BusAddress(busAddress()));
    m_observer = std::make_unique<PhoneObserver>(*m_bus, m_events);
    m_observer->listenTo(m_phone->connection()->get_unique_name());
  }

  /// Sends a message with a body in GVariant's text format and waits for the reply.
  void send(PhoneBus& from, const std::string& member, const std::string& body) {
    const Glib::VariantContainerBase parameters(
        g_variant_ref_sink(g_variant_new_parsed(body.c_str())), false);
    bool taken = false;
    from.connection()->call(
        kObserver.path, kObserver.interface, member, parameters,
        [&](const Glib::RefPtr<Gio::AsyncResult>& result) {
          taken = true;
          EXPECT_NO_THROW(from.connection()->call_finish(result)) << member;
        },
        m_bus->connection()->get_unique_name());
    while (!taken) Glib::MainContext::get_default()->iteration(true);
  }
  void tell(const std::string& member, const std::string& body) { send(*m_phone, member, body); }

  Events m_events;
  std::unique_ptr<PhoneBus> m_bus;
  std::unique_ptr<PhoneBus> m_phone;
  std::unique_ptr<PhoneBus> m_stranger;
  std::unique_ptr<PhoneObserver> m_observer;
};

}  // namespace

TEST_F(Observer, PassesOnEveryNotification) {
  tell("vCardAcceptEvent", "({'acceptParam': <'x'>},)");
  tell("vCardReceivedEvent", "({'vCardiParam': <'x'>, 'countParam': <2>},)");
  tell("vCardErrorEvent", "({'errorParam': <'x'>, 'countParam': <2>},)");
  tell("vCardErrorEvent", "({'errorParam': <''>, 'countParam': <1>},)");
  tell("vCardDestRequestEvent", "({'infoParam': <'Doe'>},)");
  tell("vCardSendErrEvent",
       "({'infoParam': <'Doe'>, 'bdaParam': <'00:11'>, 'channelParam': <0>},)");
  EXPECT_THAT(m_events.told,
              ElementsAre("offered x", "2 cards stored, the first is (unreadable card).",
                          StartsWith("Not all of 2 cards could be stored"), "unreadable",
                          "where Doe", "not sent Doe 00:11"));
}

TEST_F(Observer, AcceptsByteArrays) {
  tell("vCardAcceptEvent", "({'acceptParam': <[byte 0x61, 0xff]>},)");
  EXPECT_THAT(m_events.told, ElementsAre("offered a\xff"));
}

TEST_F(Observer, ReportsASentContactOnce) {
  tell("vCardSendSuccEvent", "({'infoParam': <''>},)");
  EXPECT_THAT(m_events.told, ElementsAre());
  tell("vCardSendSuccEvent", "({'infoParam': <'Doe'>},)");
  EXPECT_THAT(m_events.told, ElementsAre("sent Doe"));
}

TEST_F(Observer, ReportsSentContactsWithoutAName) {
  for (int i = 0; i < 4; ++i) tell("vCardSendSuccEvent", "({'infoParam': <''>},)");
  EXPECT_THAT(m_events.told, ElementsAre("sent ", "sent "));
}

TEST_F(Observer, IgnoresStrangers) {
  send(*m_stranger, "vCardAcceptEvent", "({'acceptParam': <'forged'>},)");
  send(*m_stranger, "vCardReceivedEvent", "({'vCardiParam': <'forged'>, 'countParam': <1>},)");
  EXPECT_THAT(m_events.told, ElementsAre());
}

TEST_F(Observer, IgnoresEveryoneWithoutAPhone) {
  m_observer->listenTo("");
  tell("vCardAcceptEvent", "({'acceptParam': <'x'>},)");
  EXPECT_THAT(m_events.told, ElementsAre());
}

TEST_F(Observer, TreatsParametersOfOtherTypesAsMissing) {
  tell("vCardAcceptEvent", "({'acceptParam': <5>},)");
  tell("vCardReceivedEvent", "({'countParam': <'x'>},)");
  EXPECT_THAT(m_events.told, ElementsAre("offered ", "No card was waiting; nothing was stored."));
}
