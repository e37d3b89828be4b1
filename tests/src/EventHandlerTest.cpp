// What the push server answers, and what becomes of a pushed object.

#include <algorithm>

#include "src/OBEXServer.h"
#include "tests/src/MemoryFaults.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using openobex::fake::bodyHeader;
using openobex::fake::Header;
using openobex::fake::nameHeader;
using openobex::fake::numberHeader;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kAccept = "OBEX_ObjectSetRsp 16 32";
const std::string kSuccess = "OBEX_ObjectSetRsp 32 32";
const std::string kUnsupported = "OBEX_ObjectSetRsp 79 79";
const std::string kNotImplemented = "OBEX_ObjectSetRsp 81 81";

const std::string kCard = "BEGIN:VCARD\nN:Doe;John\nTEL:123\nEND:VCARD\n";
const std::string kMessage =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>"
    "write_request</ReasonForMessage><Entry><Surname>Doe</Surname><Firstname>John</Firstname>"
    "<Office>123</Office><DefaultNumber>1</DefaultNumber><Group>0</Group></Entry></Schema>";
const std::string kUnreadable = "N:Doe\n";

class Events : public ServiceTest {
 protected:
  Events() : ServiceTest("OBEXServer") {
    service.subscribe(&observer);
    server.setOBEXService(&service);
  }

  /// Serves what the script holds.
  void serve() {
    server.setEnable(true);
    obex.server().call([this] { server.setEnable(false); });
    server.run();
  }
  /// Whole objects, with all their events.
  void push(std::vector<Header> headers) {
    obex.server().request(OBEX_CMD_PUT, std::move(headers));
    serve();
  }
  /// Delivers one event and compares what the callback does for it.
  void expectEvent(int event, int command, std::vector<Header> headers, const Entries& expected) {
    obex.server().deliver({.event = event, .command = command, .headers = std::move(headers)});
    recording.forget();
    serve();
    const Entries& all = recording.entries();
    const auto begin = std::find(all.begin(), all.end(), ">handleObexEvent");
    const auto end = std::find(begin, all.end(), "<handleObexEvent");
    expectEntries({begin + 1, end}, expected);
  }
  void expectStored() {
    EXPECT_THAT(observer.calls, ElementsAre("vCardAccept(" + kMessage + ")"));
    EXPECT_EQ(obex.responses().back(), std::pair(0x10, 0x20));
  }

  OBEXServer server;
};

// A request begins

TEST_F(Events, RefuseGetSetPathSessionAndAbortAtOnce) {
  for (const auto& [command, text] :
       {std::pair(0x03, "3"), std::pair(0x05, "5"), std::pair(0x07, "7"), std::pair(0x7F, "127"),
        std::pair(0x80, "128")}) {
    expectEvent(OBEX_EV_REQHINT, command, {},
                {"\tOBEX_EV_REQHINT, the command is " + std::string(text), kNotImplemented});
  }
}

TEST_F(Events, LeaveOtherCommandsToTheirDefault) {
  for (const int command : {0x00, 0x01, 0x02, 0x04, 0x06, 0x08, 0x7E, 0x81, -1}) {
    expectEvent(OBEX_EV_REQHINT, command, {},
                {"\tOBEX_EV_REQHINT, the command is " + std::to_string(command)});
  }
}

// The first headers have arrived

TEST_F(Events, AcceptAnObjectNamedVcf) {
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT, {nameHeader("a.b.vcf")},
              {"\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: a.b.vcf", "\tEXT: vcf\n", kAccept});
}

TEST_F(Events, RefuseAnotherExtensionAndReadNoFurther) {
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT,
              {numberHeader(OBEX_HDR_LENGTH, 1), nameHeader("x.jpg"), nameHeader("a.vcf")},
              {"\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: x.jpg", "\tEXT: jpg\n",
               "\tNot a vCard. Exiting...", kUnsupported});
}

TEST_F(Events, CompareTheExtensionWithItsCase) {
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT, {nameHeader("A.VCF")},
              {"\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: A.VCF", "\tEXT: VCF\n",
               "\tNot a vCard. Exiting...", kUnsupported});
}

TEST_F(Events, RefuseSimilarExtensions) {
  for (const std::string extension : {"vc", "vcx", "vcfx", "xvcf"}) {
    expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT, {nameHeader("a." + extension)},
                {"\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: a." + extension,
                 "\tEXT: " + extension + "\n", "\tNot a vCard. Exiting...", kUnsupported});
  }
}

TEST_F(Events, RefuseANameWithoutADot) {
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT, {nameHeader("vcf")},
              {"\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: vcf", "\tNot a vCard. Exiting...",
               kUnsupported});
}

TEST_F(Events, RefuseTheSecondNameWhenItIsNoCards) {
  expectEvent(
      OBEX_EV_REQCHECK, OBEX_CMD_PUT, {nameHeader("a.vcf"), nameHeader("b.")},
      {"\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: a.vcf", "\tEXT: vcf\n", "\tNAME header",
       "\tNAME: b.", "\tEXT: \n", "\tNot a vCard. Exiting...", kUnsupported});
}

TEST_F(Events, AcceptAnObjectWithoutANameOrWithAnEmptyOne) {
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT, {}, {"\tOBEX_EV_REQCHECK", kAccept});
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT, {Header{OBEX_HDR_NAME, ""}},
              {"\tOBEX_EV_REQCHECK", kAccept});
}

TEST_F(Events, CheckTheNameOfAnyCommand) {
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_CONNECT, {nameHeader("vcf")},
              {"\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: vcf", "\tNot a vCard. Exiting...",
               kUnsupported});
}

TEST_F(Events, ReadANameWithoutATerminatorWhole) {
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT, {nameHeader("a.vcf", false)},
              {"\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: a.vcf", "\tEXT: vcf\n", kAccept});
}

TEST_F(Events, ReadANameOfOneByteAsEmpty) {
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT, {Header{OBEX_HDR_NAME, "x"}},
              {"\tOBEX_EV_REQCHECK", "\tNAME header", "\tNAME: ", "\tNot a vCard. Exiting...",
               kUnsupported});
}

TEST_F(Events, AcceptANameForWhichThereIsNoMemory) {
  const MemoryFaults faults(1, MemoryFaults::Kind::Once);
  expectEvent(OBEX_EV_REQCHECK, OBEX_CMD_PUT, {nameHeader("x.jpg")},
              {"\tOBEX_EV_REQCHECK", "\tNAME header", kAccept});
}

TEST_F(Events, FreeTheNameOfAnObject) {
  const long before = MemoryFaults::blocks();
  push({nameHeader("a.vcf")});
  push({nameHeader("x.jpg")});
  EXPECT_EQ(MemoryFaults::blocks(), before);
}

// A request is complete

TEST_F(Events, TraceEveryHeaderOfAConnectButWho) {
  expectEvent(OBEX_EV_REQ, OBEX_CMD_CONNECT,
              {Header{OBEX_HDR_WHO, "someone"}, Header{OBEX_HDR_TARGET, "target"}},
              {"\tOBEX_EV_REQ", ">handleEventRequest", "\tCONNECT request",
               "\thandleEventRequest() Skipped header 46", kSuccess, "<handleEventRequest"});
}

TEST_F(Events, AcceptADisconnect) {
  expectEvent(OBEX_EV_REQ, OBEX_CMD_DISCONNECT, {},
              {"\tOBEX_EV_REQ", ">handleEventRequest", "\tDISCONNECT request", kSuccess,
               "<handleEventRequest"});
}

TEST_F(Events, DenyAnUnknownCommand) {
  expectEvent(OBEX_EV_REQ, 0x06, {},
              {"\tOBEX_EV_REQ", ">handleEventRequest", "\tDenied 06 request", kNotImplemented,
               "<handleEventRequest"});
}

TEST_F(Events, AcceptAPutWithoutABody) {
  expectEvent(OBEX_EV_REQ, OBEX_CMD_PUT, {Header{OBEX_HDR_NAME, ""}},
              {"\tOBEX_EV_REQ", ">handleEventRequest", "\tPUT request", ">handlePutRequest",
               "\tGot a PUT without a body", kAccept, "<handlePutRequest", "<handleEventRequest"});
}

TEST_F(Events, TakeABodyWithoutBytesForNone) {
  expectEvent(OBEX_EV_REQ, OBEX_CMD_PUT, {bodyHeader("")},
              {"\tOBEX_EV_REQ", ">handleEventRequest", "\tPUT request", ">handlePutRequest",
               "\thandlePutRequest() Found l_body", "\t\n\nBODY BEGIN\n(null)\nBODY END\n\n",
               "\tGot a PUT without a body", kAccept, "<handlePutRequest", "<handleEventRequest"});
}

TEST_F(Events, HandTheMessageOfACardToTheService) {
  service.unsubscribe(&observer);
  expectEvent(OBEX_EV_REQ, OBEX_CMD_PUT,
              {nameHeader("a.vcf"), Header{OBEX_HDR_TYPE, "x"}, numberHeader(OBEX_HDR_LENGTH, 1),
               Header{OBEX_HDR_BODY_END, "y"}, bodyHeader(kCard)},
              {"\tOBEX_EV_REQ",
               ">handleEventRequest",
               "\tPUT request",
               ">handlePutRequest",
               "\tNAME: a.vcf",
               "\tEXT: vcf\n",
               "\tTYPE header.",
               "\tSkipped header c3",
               "\tSkipped header 49",
               "\thandlePutRequest() Found l_body",
               "\t\n\nBODY BEGIN\n" + kCard + "\nBODY END\n\n",
               ">parseBody",
               "CARD_Parser: >CARD_Parser",
               "\t\n\nXML MESSAGE BEGIN\n" + kMessage + "\nXML MESSAGE END\n\n",
               "\tforwarding vCard...",
               "OBEXService: >forwardVCard",
               "take cards",
               "take observers",
               "give observers",
               "give cards",
               "OBEXService: <forwardVCard",
               "\tdone.",
               "CARD_Parser: >~CARD_Parser",
               "<parseBody",
               kAccept,
               "<handlePutRequest",
               "<handleEventRequest"});
}

TEST_F(Events, ReportABodyThatIsNoCardAndAcceptIt) {
  expectEvent(
      OBEX_EV_REQ, OBEX_CMD_PUT, {bodyHeader(kUnreadable)},
      {"\tOBEX_EV_REQ", ">handleEventRequest", "\tPUT request", ">handlePutRequest",
       "\thandlePutRequest() Found l_body", "\t\n\nBODY BEGIN\n" + kUnreadable + "\nBODY END\n\n",
       ">parseBody", "CARD_Parser: >CARD_Parser", "OBEXService: >errorVCard", "take observers",
       "OBEXService: \tsending vCard to observer...", "vCardError(, 1)", "give observers",
       "OBEXService: <errorVCard", "CARD_Parser: >~CARD_Parser", "<parseBody", kAccept,
       "<handlePutRequest", "<handleEventRequest"});
}

TEST_F(Events, RefuseABadNameBehindTheBodyWithoutParsingIt) {
  expectEvent(OBEX_EV_REQ, OBEX_CMD_PUT, {bodyHeader(kCard), nameHeader("x.jpg")},
              {"\tOBEX_EV_REQ", ">handleEventRequest", "\tPUT request", ">handlePutRequest",
               "\thandlePutRequest() Found l_body", "\t\n\nBODY BEGIN\n" + kCard + "\nBODY END\n\n",
               "\tNAME: x.jpg", "\tEXT: jpg\n", "\tNot a vCard. Exiting...", kUnsupported,
               "<handleEventRequest"});
}

TEST_F(Events, ReplaceABodyByALaterOne) {
  obex.server().deliver({.event = OBEX_EV_REQ,
                         .command = OBEX_CMD_PUT,
                         .headers = {bodyHeader("BEGIN:VCARD\nN:First\n"), bodyHeader(kCard)}});
  serve();
  expectStored();
}

TEST_F(Events, ReadTheCardWithoutAServiceAndDropIt) {
  server.setOBEXService(nullptr);
  expectEvent(OBEX_EV_REQ, OBEX_CMD_PUT, {bodyHeader(kCard)},
              {"\tOBEX_EV_REQ", ">handleEventRequest", "\tPUT request", ">handlePutRequest",
               "\thandlePutRequest() Found l_body", "\t\n\nBODY BEGIN\n" + kCard + "\nBODY END\n\n",
               ">parseBody", "CARD_Parser: >CARD_Parser",
               "\t\n\nXML MESSAGE BEGIN\n" + kMessage + "\nXML MESSAGE END\n\n",
               "CARD_Parser: >~CARD_Parser", "<parseBody", kAccept, "<handlePutRequest",
               "<handleEventRequest"});
}

TEST_F(Events, GiveThePhotoOfACardToTheService) {
  push({bodyHeader("BEGIN:VCARD\nN:Doe\nPHOTO;TYPE=JPEG;ENCODING=BASE64:QUJD\n\nEND:VCARD\n")});
  EXPECT_EQ(recording.count("storage init /data/images/photoDoe.jpg in|binary out|binary"), 1);
  EXPECT_EQ(recording.count("storage store null ABC"), 1);
}

// A packet has been handled

TEST_F(Events, ReadWhatIsThereOnProgressOfAPut) {
  expectEvent(OBEX_EV_PROGRESS, OBEX_CMD_PUT, {},
              {"\tOBEX_EV_PROGRESS", "\tPUT", ">handlePutRequest", "\tGot a PUT without a body",
               kAccept, "<handlePutRequest"});
}

TEST_F(Events, DoNothingOnProgressOfOtherCommands) {
  expectEvent(OBEX_EV_PROGRESS, OBEX_CMD_CONNECT, {bodyHeader(kCard)}, {"\tOBEX_EV_PROGRESS"});
}

// Whole objects

TEST_F(Events, StoreACardPushedWithItsNameAndLength) {
  push({nameHeader("contact.vcf"), numberHeader(OBEX_HDR_LENGTH, 41), bodyHeader(kCard)});
  expectStored();
}

TEST_F(Events, StoreACardPushedWithoutAName) {
  push({bodyHeader(kCard)});
  expectStored();
}

TEST_F(Events, StoreNothingOfAPhoto) {
  push({nameHeader("photo.jpg"), bodyHeader(kCard)});
  EXPECT_EQ(obex.responses().front(), std::pair(0x4F, 0x4F));
  EXPECT_THAT(observer.calls, IsEmpty());
}

TEST_F(Events, RefuseAGetOnce) {
  obex.server().request(OBEX_CMD_GET, {nameHeader("x.vcf")});
  serve();
  EXPECT_THAT(obex.responses(), ElementsAre(std::pair(0x51, 0x51)));
}

}  // namespace
}  // namespace test
