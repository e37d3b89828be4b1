// What the push server answers, and what becomes of a pushed object.

#include "src/OBEXServer.h"
#include "tests/openobex/FakeOpenObex.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using openobex::fake::bodyHeader;
using openobex::fake::Event;
using openobex::fake::FakeOpenObex;
using openobex::fake::Header;
using openobex::fake::nameHeader;
using openobex::fake::numberHeader;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

using Answer = std::pair<int, int>;
const Answer kAccepted{0x10, 0x20};
const Answer kSuccess{0x20, 0x20};
const Answer kNoCard{0x4F, 0x4F};
const Answer kNotImplemented{0x51, 0x51};

const std::string kCard = "BEGIN:VCARD\nN:Doe;John\nTEL:123\nEND:VCARD\n";
const std::string kMessage =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>"
    "write_request</ReasonForMessage><Entry><Surname>Doe</Surname><Firstname>John</Firstname>"
    "<Office>123</Office><DefaultNumber>1</DefaultNumber><Group>0</Group></Entry></Schema>";

class EventHandlerTest : public ::testing::Test {
 protected:
  EventHandlerTest() {
    service.subscribe(&observer);
    server.setOBEXService(&service);
  }

  /// Serves what the script holds.
  void Serve() {
    server.setEnable(true);
    obex.server().call([this] { server.setEnable(false); });
    server.run();
  }
  void Deliver(int event, int command, std::vector<Header> headers = {}) {
    obex.server().deliver({.event = event, .command = command, .headers = std::move(headers)});
    Serve();
  }
  void Push(std::vector<Header> headers) {
    obex.server().request(OBEX_CMD_PUT, std::move(headers));
    Serve();
  }
  void ExpectStored(const std::string& message) {
    EXPECT_THAT(observer.calls(), ElementsAre("vCardAccept(" + message + ")"));
  }
  void ExpectRefused() {
    EXPECT_THAT(obex.responses(), Contains(kNoCard));
    EXPECT_THAT(observer.calls(), IsEmpty());
  }

  FakeOpenObex obex;
  RecordingObserver observer;
  OBEXService service;
  OBEXServer server;
};

TEST_F(EventHandlerTest, APushedCardGoesToTheServiceAsItsMessage) {
  Push({nameHeader("contact.vcf"), numberHeader(OBEX_HDR_LENGTH, 41), bodyHeader(kCard)});
  ExpectStored(kMessage);
  EXPECT_EQ(obex.responses().back(), kAccepted);
}

TEST_F(EventHandlerTest, OtherExtensionsAreRefusedAtTheFirstHeaders) {
  Push({nameHeader("photo.jpg"), bodyHeader(kCard)});
  ExpectRefused();
}

TEST_F(EventHandlerTest, TheExtensionIsComparedWithItsCase) {
  Push({nameHeader("CONTACT.VCF"), bodyHeader(kCard)});
  ExpectRefused();
}

TEST_F(EventHandlerTest, ANameWithoutADotIsNoCards) {
  Push({nameHeader("vcf"), bodyHeader(kCard)});
  ExpectRefused();
}

TEST_F(EventHandlerTest, TheLastDotCounts) {
  Push({nameHeader("a.b.vcf"), bodyHeader(kCard)});
  ExpectStored(kMessage);
}

TEST_F(EventHandlerTest, ATrailingDotIsAnEmptyExtension) {
  LogRecorder log;
  Push({nameHeader("a.vcf."), bodyHeader(kCard)});
  ExpectRefused();
  EXPECT_TRUE(log.has("\tEXT: \n"));
}

TEST_F(EventHandlerTest, WithoutANameItIsTakenForACard) {
  Push({bodyHeader(kCard)});
  ExpectStored(kMessage);
}

TEST_F(EventHandlerTest, AnEmptyNameSaysNothing) {
  Push({Header{OBEX_HDR_NAME, ""}, bodyHeader(kCard)});
  ExpectStored(kMessage);
}

TEST_F(EventHandlerTest, ANameWithoutATerminatorIsReadWhole) {
  Push({nameHeader("a.vcf", false), bodyHeader(kCard)});
  ExpectStored(kMessage);
  Push({nameHeader("a.vcfx", false), bodyHeader(kCard)});
  EXPECT_THAT(obex.responses(), Contains(kNoCard));
}

TEST_F(EventHandlerTest, ANameOfOneByteIsEmptyAndNoCards) {
  Push({Header{OBEX_HDR_NAME, "x"}, bodyHeader(kCard)});
  ExpectRefused();
}

TEST_F(EventHandlerTest, SeveralNamesMustAllBeCards) {
  Push({nameHeader("a.vcf"), nameHeader("b.vcf"), bodyHeader(kCard)});
  ExpectStored(kMessage);
  Push({nameHeader("a.vcf"), nameHeader("b.jpg"), bodyHeader(kCard)});
  EXPECT_THAT(obex.responses(), Contains(kNoCard));
}

TEST_F(EventHandlerTest, ABodyThatDoesNotParseIsReportedAndStillASuccess) {
  Push({nameHeader("a.vcf"), bodyHeader("N:Doe\n")});
  EXPECT_THAT(observer.calls(), ElementsAre("vCardError(, 1)"));
  EXPECT_EQ(obex.responses().back(), kAccepted);
}

TEST_F(EventHandlerTest, APutWithoutABodyIsASuccess) {
  LogRecorder log;
  Push({nameHeader("a.vcf")});
  EXPECT_THAT(observer.calls(), IsEmpty());
  EXPECT_TRUE(log.has("\tGot a PUT without a body"));
  EXPECT_EQ(obex.responses().back(), kAccepted);
}

TEST_F(EventHandlerTest, ALaterBodyReplacesAnEarlierOne) {
  Deliver(OBEX_EV_REQ, OBEX_CMD_PUT, {bodyHeader("BEGIN:VCARD\nN:First\n"), bodyHeader(kCard)});
  ExpectStored(kMessage);
}

TEST_F(EventHandlerTest, ProgressOfAPutReadsWhatIsThere) {
  LogRecorder log;
  Deliver(OBEX_EV_PROGRESS, OBEX_CMD_PUT, {bodyHeader(kCard)});
  ExpectStored(kMessage);
  EXPECT_TRUE(log.has("\tOBEX_EV_PROGRESS"));
  EXPECT_TRUE(log.has("\tPUT"));
}

TEST_F(EventHandlerTest, ProgressOfOtherCommandsDoesNothing) {
  LogRecorder log;
  Deliver(OBEX_EV_PROGRESS, OBEX_CMD_CONNECT, {bodyHeader(kCard)});
  EXPECT_THAT(observer.calls(), IsEmpty());
  EXPECT_THAT(obex.responses(), IsEmpty());
  EXPECT_THAT(log.texts(), Contains("\tOBEX_EV_PROGRESS"));
  EXPECT_FALSE(log.has("\tPUT"));
}

TEST_F(EventHandlerTest, ABadNameBehindTheBodyStopsBeforeParsing) {
  LogRecorder log;
  Deliver(OBEX_EV_REQ, OBEX_CMD_PUT, {bodyHeader(kCard), nameHeader("x.jpg")});
  ExpectRefused();
  EXPECT_TRUE(log.has("\tNot a vCard. Exiting..."));
  EXPECT_FALSE(log.has("<handlePutRequest"));
  EXPECT_FALSE(log.has("\tNAME header"));
}

TEST_F(EventHandlerTest, APutIsTracedStepByStep) {
  LogRecorder log;
  obex.server().deliver({.event = OBEX_EV_REQ,
                         .command = OBEX_CMD_PUT,
                         .headers = {nameHeader("a.vcf"), Header{OBEX_HDR_TYPE, "x"},
                                     numberHeader(OBEX_HDR_LENGTH, 1),
                                     Header{OBEX_HDR_BODY_END, "y"}, bodyHeader("garbage")}});
  Serve();
  std::vector<std::string> texts;
  for (const RecordedLine& line : log.lines()) {
    if (line.component == "OBEX Service") texts.push_back(line.text);
  }
  const auto begin = std::find(texts.begin(), texts.end(), "\tOBEX_EV_REQ");
  const auto end = std::find(begin, texts.end(), ">forwardVCard");
  EXPECT_THAT(
      std::vector<std::string>(begin, end),
      ElementsAre("\tOBEX_EV_REQ", ">handleEventRequest", "\tPUT request", ">handlePutRequest",
                  "\tNAME: a.vcf", "\tEXT: vcf\n", "\tTYPE header.", "\tSkipped header c3",
                  "\tSkipped header 49", "\thandlePutRequest() Found l_body",
                  "\t\n\nBODY BEGIN\ngarbage\nBODY END\n\n", ">parseBody",
                  StartsWith("\t\n\nXML MESSAGE BEGIN\n<?xml"), "\tforwarding vCard..."));
  const auto done = std::find(end, texts.end(), "\tdone.");
  EXPECT_THAT(std::vector<std::string>(done, done + 4),
              ElementsAre("\tdone.", "<parseBody", "<handlePutRequest", "<handleEventRequest"));
}

TEST_F(EventHandlerTest, ABodyIsTracedNoFurtherThanItIsLong) {
  LogRecorder log;
  const std::string bytes(3000, 'b');
  Deliver(OBEX_EV_REQ, OBEX_CMD_PUT, {bodyHeader(bytes)});
  EXPECT_TRUE(log.has("\t\n\nBODY BEGIN\n" + bytes + "\nBODY END\n\n"));
}

TEST_F(EventHandlerTest, ABodyWithoutBytesIsNone) {
  LogRecorder log;
  Deliver(OBEX_EV_REQ, OBEX_CMD_PUT, {bodyHeader("")});
  EXPECT_TRUE(log.has("\t\n\nBODY BEGIN\n(null)\nBODY END\n\n"));
  EXPECT_TRUE(log.has("\tGot a PUT without a body"));
}

TEST_F(EventHandlerTest, TheFirstHeadersAreTraced) {
  LogRecorder log;
  obex.server().deliver({.event = OBEX_EV_REQCHECK,
                         .command = OBEX_CMD_PUT,
                         .headers = {numberHeader(OBEX_HDR_LENGTH, 1), nameHeader("x.jpg"),
                                     nameHeader("never.read")}});
  Serve();
  const std::vector<std::string> texts = log.texts();
  const auto begin = std::find(texts.begin(), texts.end(), "\tOBEX_EV_REQCHECK");
  EXPECT_THAT(std::vector<std::string>(begin, begin + 6),
              ElementsAre("\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: x.jpg", "\tEXT: jpg\n",
                          "\tNot a vCard. Exiting...", "<handleObexEvent"));
  EXPECT_THAT(obex.responses(), Contains(kNoCard));
}

TEST_F(EventHandlerTest, TheFirstHeadersOfAnyCommandAreChecked) {
  Deliver(OBEX_EV_REQCHECK, OBEX_CMD_CONNECT, {nameHeader("x.jpg")});
  EXPECT_THAT(obex.responses(), Contains(kNoCard));
}

TEST_F(EventHandlerTest, WithoutARefusalTheFirstHeadersAreAccepted) {
  Deliver(OBEX_EV_REQCHECK, OBEX_CMD_PUT);
  EXPECT_THAT(obex.responses(), ElementsAre(kAccepted));
}

TEST_F(EventHandlerTest, CommandsThatAreNotServedAreRefusedAtOnce) {
  for (const int command : {0x03, 0x05, 0x07, 0x7F, 0x80}) {
    obex.server().deliver({.event = OBEX_EV_REQHINT, .command = command});
  }
  Serve();
  EXPECT_EQ(obex.responses().size(), 5U);
  EXPECT_THAT(obex.responses(), Each(kNotImplemented));
}

TEST_F(EventHandlerTest, OtherCommandsAreLeftAsTheyAre) {
  for (const int command : {0x00, 0x01, 0x02, 0x04, 0x06, 0x08, 0x7E, 0x81, -1}) {
    obex.server().deliver({.event = OBEX_EV_REQHINT, .command = command});
  }
  LogRecorder log;
  Serve();
  EXPECT_THAT(obex.responses(), IsEmpty());
  EXPECT_TRUE(log.has("\tOBEX_EV_REQHINT, the command is 126"));
  EXPECT_TRUE(log.has("\tOBEX_EV_REQHINT, the command is -1"));
}

TEST_F(EventHandlerTest, AGetIsNotImplementedAndNotDeniedOnceMore) {
  LogRecorder log;
  obex.server().request(OBEX_CMD_GET, {nameHeader("x.vcf")});
  Serve();
  EXPECT_THAT(obex.responses(), Contains(kNotImplemented));
  EXPECT_THAT(log.texts(), Not(Contains(StartsWith("\tDenied"))));
}

TEST_F(EventHandlerTest, AnUnknownCommandIsDeniedWhenItIsComplete) {
  LogRecorder log;
  Deliver(OBEX_EV_REQ, 0x06);
  EXPECT_THAT(obex.responses(), ElementsAre(kNotImplemented));
  EXPECT_TRUE(log.has("\tDenied 06 request"));
}

TEST_F(EventHandlerTest, AConnectTracesEveryHeaderButWho) {
  LogRecorder log;
  Deliver(OBEX_EV_REQ, OBEX_CMD_CONNECT,
          {Header{OBEX_HDR_WHO, "someone"}, Header{OBEX_HDR_TARGET, "target"}});
  EXPECT_THAT(obex.responses(), ElementsAre(kSuccess));
  EXPECT_TRUE(log.has("\tCONNECT request"));
  EXPECT_EQ(log.count("\thandleEventRequest() Skipped header 46"), 1);
  EXPECT_FALSE(log.has("\thandleEventRequest() Skipped header 4a"));
}

TEST_F(EventHandlerTest, ADisconnectIsASuccess) {
  LogRecorder log;
  Deliver(OBEX_EV_REQ, OBEX_CMD_DISCONNECT);
  EXPECT_THAT(obex.responses(), ElementsAre(kSuccess));
  EXPECT_TRUE(log.has("\tDISCONNECT request"));
}

TEST_F(EventHandlerTest, WithoutAServiceACardIsReadAndGoesNowhere) {
  server.setOBEXService(nullptr);
  LogRecorder log;
  Push({nameHeader("a.vcf"), bodyHeader(kCard)});
  EXPECT_THAT(observer.calls(), IsEmpty());
  EXPECT_FALSE(log.has("\tforwarding vCard..."));
  EXPECT_TRUE(log.has("<parseBody"));
}

TEST_F(EventHandlerTest, TheReaderGoesBeforeTheEndOfItsStep) {
  LogRecorder log;
  Push({nameHeader("a.vcf"), bodyHeader(kCard)});
  std::vector<std::string> texts;
  for (const RecordedLine& line : log.lines()) texts.push_back(line.text);
  const auto end = std::find(texts.begin(), texts.end(), "<parseBody");
  ASSERT_NE(end, texts.end());
  EXPECT_EQ(*(end - 1), "<~CARD_Parser");
}

TEST_F(EventHandlerTest, APhotoGoesToTheServicesStorage) {
  // No storage takes a path that leaves the images folder: the card fails, and the service says
  // why.
  LogRecorder log;
  Push({bodyHeader("BEGIN:VCARD\nN:/../../x\nPHOTO;TYPE=JPEG;ENCODING=BASE64:QUJD\n\n")});
  EXPECT_THAT(observer.calls(), ElementsAre("vCardError(, 1)"));
  EXPECT_TRUE(log.has("\tNot possible to initialize storage for saving file with photo.\n"));
}

}  // namespace
}  // namespace test
