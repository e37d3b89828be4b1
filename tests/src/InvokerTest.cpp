// Messages of other processes, turned into calls of the service and into replies.

#include <memory>
#include <sstream>

#include "framework/FrameworkContext.h"
#include "framework/Invoker.h"
#include "framework/InvokerResponse.h"
#include "framework/MessageSerializer.h"
#include "framework/Method.h"
#include "src/OBEXServiceInvoker.h"
#include "src/OBEXServiceObserverProxy.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

/// Every operation is recorded: "sendVCard(00:11:22:33:44:55, 9)".
class FakeService : public PeerService, public OBEXServiceIfc {
 public:
  void OBEXServerEnable(bool enable) override {
    Recording::add(enable ? "OBEXServerEnable(true)" : "OBEXServerEnable(false)");
  }
  bool subscribe(OBEXServiceObserverIfc* given) override {
    Recording::add("subscribe");
    observer = given;
    return given != nullptr;
  }
  bool unsubscribe(OBEXServiceObserverIfc* given) override {
    Recording::add("unsubscribe");
    observer = given;
    return given != nullptr;
  }
  void sendContact(const obex_phonebook_data_t& given) override {
    Recording::add("sendContact");
    contact = given;
  }
  void sendVCard(const std::string& bda, int channel) override {
    Recording::add("sendVCard(" + bda + ", " + std::to_string(channel) + ")");
  }
  void cancelVCard() override { Recording::add("cancelVCard"); }
  void cancelTransmission() override { Recording::add("cancelTransmission"); }
  void vCardsAccepted() override { Recording::add("vCardsAccepted"); }
  void vCardsAcceptFinished() override { Recording::add("vCardsAcceptFinished"); }
  void vCardsRejected() override { Recording::add("vCardsRejected"); }

  OBEXServiceObserverIfc* observer = nullptr;
  obex_phonebook_data_t contact;
};

/// Takes calls from a process at ":1.7"; records "reply BYTES" and "delete response".
class FakeResponse : public InvokerResponse {
 public:
  explicit FakeResponse(std::string format) : m_format(std::move(format)) {}
  ~FakeResponse() override { Recording::add("delete response"); }
  const std::string& getFormat() const override { return m_format; }
  const std::string& getCallerAddress() const override { return m_address; }
  void send(const char* data, int length) override {
    Recording::add("reply " + std::string(data, static_cast<std::size_t>(length)));
  }

 private:
  const std::string m_format;
  const std::string m_address = ":1.7";
};

/// Decodes any bytes to the message that it was given.
class FakeSerializer : public MessageSerializer {
 public:
  int decode(std::istream& in, Method& method) override {
    std::ostringstream bytes;
    bytes << in.rdbuf();
    Recording::add("decode " + bytes.str());
    method = message;
    return result;
  }
  void encode(const Method& method, std::ostream& out) override {
    out << method.getType() << " " << method.getName();
    for (const Parameter& parameter : method.getParameters()) {
      out << " " << parameter.name << "/" << parameter.direction << "="
          << std::get<bool>(parameter.value);
    }
  }

  Method message;
  int result = 1;
};

class FakeFrameworkContext : public FrameworkContext {
 public:
  MessageSerializer* getSerializer(const std::string& format) override {
    Recording::add("getSerializer " + format);
    return format == "known" ? &serializer : nullptr;
  }
  Proxy* getProxy(const std::string& interfaceName, const std::string& address) override {
    Recording::add("getProxy " + interfaceName + " " + address);
    return proxy;
  }

  FakeSerializer serializer;
  Proxy* proxy = nullptr;
};

/// A proxy that is no observer.
class OtherProxy : public Proxy {
 public:
  void initProxy(ProxyRequest&) override {}
};

class InvokerTest : public ::testing::Test {
 protected:
  InvokerTest() { invoker.initInvoker(&context); }

  Method& message(const std::string& name) {
    return context.serializer.message = Method(name, Method::REQUEST);
  }
  void handle(Executable* executable, const std::string& bytes = "bytes",
              const std::string& format = "known") {
    invoker.handleMessage(executable, bytes.data(), static_cast<int>(bytes.size()),
                          new FakeResponse(format));
  }
  /// Handles the message; `calls` is what happens between decoding and the end.
  void expectHandled(const Entries& calls) {
    handle(&service);
    recording.expect(joined(
        {{">handleMessage", "getSerializer known", "decode bytes", "\thandleMessage called: bytes"},
         calls,
         {"delete response", "<handleMessage"}}));
  }

  Recording recording{"OBEXServiceInvoker"};
  FakeFrameworkContext context;
  FakeService service;
  OBEXServiceInvoker invoker;
};

TEST_F(InvokerTest, CallsOperationsWithoutArguments) {
  for (const auto& [name, operation] :
       {std::pair("vCardCancelEvent", "cancelVCard"),
        std::pair("vCardCancelTransmissionEvent", "cancelTransmission"),
        std::pair("vCardsAcceptedEvent", "vCardsAccepted"),
        std::pair("vCardsAcceptFinishedEvent", "vCardsAcceptFinished"),
        std::pair("vCardsRejectedEvent", "vCardsRejected")}) {
    message(name);
    expectHandled({operation});
  }
}

TEST_F(InvokerTest, PassesTheFlagOfEnable) {
  message("obexEnableEvent").addBoolParameter("obexEnableParam", true, Parameter::IN);
  expectHandled({"OBEXServerEnable(true)"});
  message("obexEnableEvent").addBoolParameter("obexEnableParam", false, Parameter::IN);
  expectHandled({"OBEXServerEnable(false)"});
}

TEST_F(InvokerTest, IgnoresEnableWithoutAFlag) {
  message("obexEnableEvent");
  expectHandled({});
  message("obexEnableEvent").addBoolParameter("obexEnableParam", true, Parameter::OUT);
  expectHandled({});
}

TEST_F(InvokerTest, PassesAddressAndChannelOfASend) {
  Method& send = message("vCardSendEvent");
  send.addIntParameter("channelParam", 0, Parameter::IN);
  send.addStringParameter("bdaParam", "00:11:22:33:44:55", Parameter::IN);
  expectHandled({"sendVCard(00:11:22:33:44:55, 0)"});
}

TEST_F(InvokerTest, IgnoresASendWithoutAChannel) {
  message("vCardSendEvent").addStringParameter("bdaParam", "00:11:22:33:44:55", Parameter::IN);
  expectHandled({});
  context.serializer.message.addIntParameter("channelParam", 4, Parameter::OUT);
  expectHandled({});
}

TEST_F(InvokerTest, IgnoresASendWithoutAnAddress) {
  message("vCardSendEvent").addIntParameter("channelParam", 4, Parameter::IN);
  expectHandled({});
  context.serializer.message.addStringParameter("bdaParam", "00:11:22:33:44:55", Parameter::OUT);
  expectHandled({});
}

TEST_F(InvokerTest, PassesAllFieldsOfAContact) {
  Method& send = message("vCardSendContactEvent");
  const Entries fields = {"firstname", "surname",     "defaultnumber", "office",  "office2",
                          "mobile",    "private",     "email",         "address", "address2",
                          "company",   "jobfunction", "picture"};
  for (const std::string& field : fields) {
    send.addStringParameter(field + "Param", field, Parameter::IN);
  }
  expectHandled({"sendContact"});
  const obex_phonebook_data_t& contact = service.contact;
  EXPECT_EQ((Entries{contact.firstname, contact.surname, contact.defaultnumber, contact.office,
                     contact.office2, contact.mobile, contact.privatenumber, contact.email,
                     contact.address, contact.address2, contact.company, contact.jobfunction,
                     contact.picture}),
            fields);
}

TEST_F(InvokerTest, LeavesMissingFieldsOfAContactEmpty) {
  Method& send = message("vCardSendContactEvent");
  send.addStringParameter("surnameParam", "Berg", Parameter::IN);
  send.addStringParameter("emailParam", "a@b", Parameter::OUT);
  expectHandled({"sendContact"});
  EXPECT_EQ(service.contact.surname, "Berg");
  EXPECT_EQ(service.contact.firstname, "");
  EXPECT_EQ(service.contact.email, "");
}

TEST_F(InvokerTest, SubscribesTheCallersProxyAndReplies) {
  OBEXServiceObserverProxy proxy;
  context.proxy = &proxy;
  message("subscribeEvent");
  expectHandled({"getProxy OBEXServiceObserverIfc :1.7", "subscribe",
                 "reply 1 subscribeEvent subscribeEventReturn/1=1"});
  EXPECT_EQ(service.observer, &proxy);
}

TEST_F(InvokerTest, UnsubscribesTheCallersProxyAndReplies) {
  OBEXServiceObserverProxy proxy;
  context.proxy = &proxy;
  message("unsubscribeEvent");
  expectHandled({"getProxy OBEXServiceObserverIfc :1.7", "unsubscribe",
                 "reply 1 unsubscribeEvent unsubscribeEventReturn/1=1"});
  EXPECT_EQ(service.observer, &proxy);
}

TEST_F(InvokerTest, PassesANullObserverWithoutAProxy) {
  message("subscribeEvent");
  expectHandled({"getProxy OBEXServiceObserverIfc :1.7", "subscribe",
                 "reply 1 subscribeEvent subscribeEventReturn/1=0"});
  EXPECT_EQ(service.observer, nullptr);
}

TEST_F(InvokerTest, PassesANullObserverForAProxyOfAnotherType) {
  OtherProxy proxy;
  context.proxy = &proxy;
  message("unsubscribeEvent");
  expectHandled({"getProxy OBEXServiceObserverIfc :1.7", "unsubscribe",
                 "reply 1 unsubscribeEvent unsubscribeEventReturn/1=0"});
}

TEST_F(InvokerTest, LogsAnUnknownMessageWithItsBytes) {
  message("vcardcancelevent");
  expectHandled({"error: \tInvalid Message, bytes"});
}

TEST_F(InvokerTest, DecodesAllBytesOfTheMessage) {
  message("vCardCancelEvent");
  handle(&service, std::string("a\0b", 3));
  EXPECT_EQ(recording.entries()[2], "decode " + std::string("a\0b", 3));
}

TEST_F(InvokerTest, DropsWhatCannotBeDecoded) {
  for (const int result : {0, 2, -1}) {
    message("vCardCancelEvent");
    context.serializer.result = result;
    handle(&service);
    recording.expect({">handleMessage", "getSerializer known", "decode bytes", "delete response",
                      "<handleMessage"});
  }
}

TEST_F(InvokerTest, DropsAMessageOfAnUnknownFormat) {
  handle(&service, "bytes", "xml");
  recording.expect({">handleMessage", "getSerializer xml", "delete response", "<handleMessage"});
}

TEST_F(InvokerTest, ReportsAnExecutableThatIsNoService) {
  PeerService other;
  for (Executable* executable :
       {static_cast<Executable*>(&other), static_cast<Executable*>(nullptr)}) {
    handle(executable);
    recording.expect({">handleMessage", "error: \tCould not cast executable to OBEXServiceIfc.",
                      "delete response", "<handleMessage"});
  }
}

TEST_F(InvokerTest, IgnoresAMessageWithoutAResponse) {
  invoker.handleMessage(&service, "bytes", 5, nullptr);
  recording.expect({">handleMessage", "<handleMessage"});
}

TEST_F(InvokerTest, IsCreatedByTheFactoryAndTracesItsDestruction) {
  auto* created = static_cast<Invoker*>(createOBEXServiceInvoker());
  EXPECT_NE(dynamic_cast<OBEXServiceInvoker*>(created), nullptr);
  recording.expect({});
  delete created;
  recording.expect({">~OBEXServiceInvoker", "<~OBEXServiceInvoker"});
}

}  // namespace
}  // namespace test
