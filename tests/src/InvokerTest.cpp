// Messages from other processes, as far as the service's operations and the replies.

#include <optional>
#include <sstream>

#include "framework/FrameworkContext.h"
#include "framework/Invoker.h"
#include "framework/InvokerResponse.h"
#include "framework/JsonMessageSerializer.h"
#include "framework/Method.h"
#include "src/OBEXServiceInvoker.h"
#include "src/OBEXServiceObserverProxy.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// Keeps every operation that is called as a text.
class RecordingService : public PeerService, public OBEXServiceIfc {
 public:
  void OBEXServerEnable(bool enable) override {
    calls.push_back(enable ? "OBEXServerEnable(true)" : "OBEXServerEnable(false)");
  }
  bool subscribe(OBEXServiceObserverIfc* observer) override {
    calls.emplace_back("subscribe");
    lastObserver = observer;
    return observer != nullptr;
  }
  bool unsubscribe(OBEXServiceObserverIfc* observer) override {
    calls.emplace_back("unsubscribe");
    lastObserver = observer;
    return observer != nullptr;
  }
  void sendContact(const obex_phonebook_data_t& contact) override {
    calls.emplace_back("sendContact");
    lastContact = contact;
  }
  void sendVCard(const std::string& bda, int channel) override {
    calls.push_back("sendVCard(" + bda + ", " + std::to_string(channel) + ")");
  }
  void cancelVCard() override { calls.emplace_back("cancelVCard"); }
  void cancelTransmission() override { calls.emplace_back("cancelTransmission"); }
  void vCardsAccepted() override { calls.emplace_back("vCardsAccepted"); }
  void vCardsAcceptFinished() override { calls.emplace_back("vCardsAcceptFinished"); }
  void vCardsRejected() override { calls.emplace_back("vCardsRejected"); }

  std::vector<std::string> calls;
  OBEXServiceObserverIfc* lastObserver = nullptr;
  obex_phonebook_data_t lastContact;
};

/// What became of a response; outlives it.
struct Outcome {
  int deleted = 0;
  std::vector<std::string> replies;
};

class RecordingResponse : public InvokerResponse {
 public:
  RecordingResponse(Outcome& outcome, std::string format)
      : m_outcome(outcome), m_format(std::move(format)) {}
  ~RecordingResponse() override { ++m_outcome.deleted; }
  const std::string& getFormat() const override { return m_format; }
  const std::string& getCallerAddress() const override { return m_address; }
  void send(const char* data, int length) override {
    m_outcome.replies.emplace_back(data, static_cast<std::size_t>(length));
  }

 private:
  Outcome& m_outcome;
  const std::string m_format;
  const std::string m_address = ":1.7";
};

class ProxyContext : public FrameworkContext {
 public:
  MessageSerializer* getSerializer(const std::string& format) override {
    return format == JsonMessageSerializer::formatName() ? &serializer : nullptr;
  }
  Proxy* getProxy(const std::string& interfaceName, const std::string& address) override {
    lookups.push_back(interfaceName + " at " + address);
    return proxy;
  }

  JsonMessageSerializer serializer;
  Proxy* proxy = nullptr;
  std::vector<std::string> lookups;
};

/// A proxy for something else than observers.
class ForeignProxy : public Proxy {
 public:
  void initProxy(ProxyRequest&) override {}
};

class InvokerTest : public ::testing::Test {
 protected:
  InvokerTest() { invoker.initInvoker(&context); }

  void Send(const Method& message) {
    std::ostringstream bytes;
    context.serializer.encode(message, bytes);
    SendBytes(bytes.str());
  }
  void Send(const std::string& name) { Send(Method(name, Method::REQUEST)); }
  void SendBytes(const std::string& bytes, const std::string& format = "json") {
    invoker.handleMessage(&service, bytes.data(), static_cast<int>(bytes.size()),
                          new RecordingResponse(outcome, format));
  }
  void ExpectCall(const std::string& call) { EXPECT_THAT(service.calls, ElementsAre(call)); }
  void ExpectNoReply() {
    EXPECT_THAT(outcome.replies, IsEmpty());
    EXPECT_EQ(outcome.deleted, 1);
  }
  void ExpectReply(const std::string& name, const std::string& parameter, bool value) {
    ASSERT_EQ(outcome.replies.size(), 1U);
    EXPECT_EQ(outcome.deleted, 1);
    std::istringstream in(outcome.replies.front());
    Method reply;
    ASSERT_EQ(context.serializer.decode(in, reply), 1);
    EXPECT_EQ(reply.getName(), name);
    EXPECT_EQ(static_cast<int>(reply.getType()), 1);
    ASSERT_EQ(reply.getParameters().size(), 1U);
    EXPECT_EQ(static_cast<int>(reply.getParameters().front().direction), 1);
    EXPECT_EQ(reply.getParameters().front().name, parameter);
    EXPECT_EQ(std::get<bool>(reply.getParameters().front().value), value);
  }

  Outcome outcome;
  ProxyContext context;
  RecordingService service;
  OBEXServiceInvoker invoker;
};

TEST_F(InvokerTest, OperationsWithoutArgumentsAreCalledByTheirMessages) {
  const std::vector<std::pair<std::string, std::string>> messages = {
      {"vCardCancelEvent", "cancelVCard"},
      {"vCardCancelTransmissionEvent", "cancelTransmission"},
      {"vCardsAcceptedEvent", "vCardsAccepted"},
      {"vCardsAcceptFinishedEvent", "vCardsAcceptFinished"},
      {"vCardsRejectedEvent", "vCardsRejected"}};
  for (const auto& [message, operation] : messages) {
    service.calls.clear();
    outcome = {};
    Send(message);
    ExpectCall(operation);
    ExpectNoReply();
  }
}

TEST_F(InvokerTest, EnableCarriesItsFlag) {
  Method message("obexEnableEvent", Method::REQUEST);
  message.addBoolParameter("obexEnableParam", true, Parameter::IN);
  Send(message);
  ExpectCall("OBEXServerEnable(true)");
  ExpectNoReply();
}

TEST_F(InvokerTest, EnableWithoutItsFlagCallsNothing) {
  Send("obexEnableEvent");
  EXPECT_THAT(service.calls, IsEmpty());
  ExpectNoReply();
}

TEST_F(InvokerTest, ArgumentsAreReadAsArgumentsOnly) {
  Method message("obexEnableEvent", Method::REQUEST);
  message.addBoolParameter("obexEnableParam", true, Parameter::OUT);
  Send(message);
  EXPECT_THAT(service.calls, IsEmpty());
}

TEST_F(InvokerTest, SendCarriesAddressAndChannelInAnyOrder) {
  Method message("vCardSendEvent", Method::REQUEST);
  message.addIntParameter("channelParam", 0, Parameter::IN);
  message.addStringParameter("bdaParam", "00:11:22:33:44:55", Parameter::IN);
  Send(message);
  ExpectCall("sendVCard(00:11:22:33:44:55, 0)");
  ExpectNoReply();
}

TEST_F(InvokerTest, SendWithoutAChannelCallsNothing) {
  Method message("vCardSendEvent", Method::REQUEST);
  message.addStringParameter("bdaParam", "00:11:22:33:44:55", Parameter::IN);
  Send(message);
  EXPECT_THAT(service.calls, IsEmpty());
}

TEST_F(InvokerTest, SendWithoutAnAddressCallsNothing) {
  Method message("vCardSendEvent", Method::REQUEST);
  message.addIntParameter("channelParam", 4, Parameter::IN);
  Send(message);
  EXPECT_THAT(service.calls, IsEmpty());
}

TEST_F(InvokerTest, AContactCarriesAllThirteenFields) {
  Method message("vCardSendContactEvent", Method::REQUEST);
  for (const char* field :
       {"firstname", "surname", "defaultnumber", "office", "office2", "mobile", "private", "email",
        "address", "address2", "company", "jobfunction", "picture"}) {
    message.addStringParameter(std::string(field) + "Param", field, Parameter::IN);
  }
  Send(message);
  ExpectCall("sendContact");
  ExpectNoReply();
  const obex_phonebook_data_t& contact = service.lastContact;
  EXPECT_THAT(
      (std::vector<std::string>{
          contact.firstname, contact.surname, contact.defaultnumber, contact.office,
          contact.office2, contact.mobile, contact.privatenumber, contact.email, contact.address,
          contact.address2, contact.company, contact.jobfunction, contact.picture}),
      ElementsAre("firstname", "surname", "defaultnumber", "office", "office2", "mobile", "private",
                  "email", "address", "address2", "company", "jobfunction", "picture"));
}

TEST_F(InvokerTest, AContactsMissingFieldsAreEmpty) {
  Method message("vCardSendContactEvent", Method::REQUEST);
  message.addStringParameter("surnameParam", "Berg", Parameter::IN);
  Send(message);
  ExpectCall("sendContact");
  EXPECT_EQ(service.lastContact.surname, "Berg");
  EXPECT_EQ(service.lastContact.firstname, "");
}

TEST_F(InvokerTest, ASubscriptionPassesTheCallersProxyOn) {
  OBEXServiceObserverProxy proxy;
  context.proxy = &proxy;
  Send("subscribeEvent");
  ExpectCall("subscribe");
  EXPECT_EQ(service.lastObserver, &proxy);
  EXPECT_THAT(context.lookups, ElementsAre("OBEXServiceObserverIfc at :1.7"));
  ExpectReply("subscribeEvent", "subscribeEventReturn", true);
}

TEST_F(InvokerTest, AnUnsubscriptionIsAnsweredToo) {
  OBEXServiceObserverProxy proxy;
  context.proxy = &proxy;
  Send("unsubscribeEvent");
  ExpectCall("unsubscribe");
  ExpectReply("unsubscribeEvent", "unsubscribeEventReturn", true);
}

TEST_F(InvokerTest, WithoutAProxyTheSubscriptionIsAnsweredAllTheSame) {
  Send("subscribeEvent");
  ExpectCall("subscribe");
  EXPECT_EQ(service.lastObserver, nullptr);
  ExpectReply("subscribeEvent", "subscribeEventReturn", false);
}

TEST_F(InvokerTest, AProxyForSomethingElseIsNoObserver) {
  ForeignProxy proxy;
  context.proxy = &proxy;
  Send("subscribeEvent");
  EXPECT_EQ(service.lastObserver, nullptr);
  ExpectReply("subscribeEvent", "subscribeEventReturn", false);
}

TEST_F(InvokerTest, AnUnknownMessageIsLoggedWithItsRawText) {
  LogRecorder log;
  Send("vcardcancelevent");
  EXPECT_THAT(service.calls, IsEmpty());
  ExpectNoReply();
  EXPECT_THAT(log.texts(2), ElementsAre(StartsWith("\tInvalid Message, {")));
  EXPECT_THAT(log.texts(2).front(), HasSubstr("vcardcancelevent"));
}

TEST_F(InvokerTest, AMessageIsTracedWithItsRawText) {
  LogRecorder log;
  Send("vCardCancelEvent");
  EXPECT_THAT(log.texts(), ElementsAre(">handleMessage", StartsWith("\thandleMessage called: {"),
                                       "<handleMessage"));
}

TEST_F(InvokerTest, BytesThatAreNoMessageAreDroppedSilently) {
  LogRecorder log;
  SendBytes("garbage");
  SendBytes(std::string("\0\xff{", 3));
  SendBytes("");
  EXPECT_THAT(service.calls, IsEmpty());
  EXPECT_THAT(log.texts(2), IsEmpty());
  EXPECT_EQ(outcome.deleted, 3);
}

TEST_F(InvokerTest, AnUnknownFormatIsDroppedSilently) {
  LogRecorder log;
  SendBytes("{}", "xml");
  EXPECT_THAT(log.texts(), ElementsAre(">handleMessage", "<handleMessage"));
  EXPECT_EQ(outcome.deleted, 1);
}

TEST_F(InvokerTest, WithoutAServiceTheResponseIsDeletedAllTheSame) {
  LogRecorder log;
  invoker.handleMessage(nullptr, "", 0, new RecordingResponse(outcome, "json"));
  PeerService foreign;
  invoker.handleMessage(&foreign, "", 0, new RecordingResponse(outcome, "json"));
  EXPECT_EQ(outcome.deleted, 2);
  EXPECT_THAT(log.texts(2), ElementsAre("\tCould not cast executable to OBEXServiceIfc.",
                                        "\tCould not cast executable to OBEXServiceIfc."));
}

TEST_F(InvokerTest, OnlyItsDestructionIsTraced) {
  LogRecorder log;
  { OBEXServiceInvoker another; }
  EXPECT_THAT(log.texts(), ElementsAre(">~OBEXServiceInvoker", "<~OBEXServiceInvoker"));
}

}  // namespace
}  // namespace test
