// The push of one card to another device.

#include "src/CARD_Sender.h"

#include "tests/openobex/FakeOpenObex.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using openobex::fake::FakeOpenObex;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kAddress = "00:1A:7D:DA:71:13";

class BtAtonTest : public ::testing::Test {
 protected:
  void ExpectValid(const std::string& text, const std::vector<int>& bytes) {
    bdaddr_t address;
    EXPECT_EQ(bt_aton(text.c_str(), &address), 1) << text;
    EXPECT_EQ(std::vector<int>(address.b, address.b + 6), bytes) << text;
  }
  void ExpectInvalid(const std::string& text) {
    bdaddr_t address;
    EXPECT_EQ(bt_aton(text.c_str(), &address), 0) << text;
  }
};

TEST_F(BtAtonTest, TheFirstGroupGoesToTheLastByte) {
  ExpectValid("00:1A:7D:DA:71:13", {0x13, 0x71, 0xDA, 0x7D, 0x1A, 0x00});
}

TEST_F(BtAtonTest, ShortGroupsAndLowerCaseAreFine) {
  ExpectValid("0:1a:7d:da:71:3", {0x03, 0x71, 0xDA, 0x7D, 0x1A, 0x00});
}

TEST_F(BtAtonTest, FiveOrSevenGroupsAreNone) {
  ExpectInvalid("00:1A:7D:DA:71");
  ExpectInvalid("00:1A:7D:DA:71:13:14");
  ExpectInvalid("00:1A:7D:DA:71:13:");
  ExpectInvalid("001A7DDA7113");
  ExpectInvalid("");
}

TEST_F(BtAtonTest, EmptyLongOrOtherGroupsAreNone) {
  ExpectInvalid("00:1G:7D:DA:71:13");
  ExpectInvalid(":1A:7D:DA:71:13");
  ExpectInvalid("00:1A::DA:71:13");
  ExpectInvalid("000:1A:7D:DA:71:13");
  ExpectInvalid("00:1A:7D:DA:71:113");
  ExpectInvalid("00:1A:7D:DA:71:1 ");
  ExpectInvalid(" 0:1A:7D:DA:71:13");
}

TEST_F(BtAtonTest, AnInvalidTextClearsTheAddressFirst) {
  bdaddr_t address;
  std::fill(address.b, address.b + 6, 0xFF);
  EXPECT_EQ(bt_aton("x", &address), 0);
  EXPECT_EQ(std::vector<int>(address.b, address.b + 6), std::vector<int>(6, 0));
}

class CARD_SenderTest : public ::testing::Test {
 protected:
  /// Runs a push whose name is as given and returns its error.
  int Push(const std::string& name = "a.vcf", int channel = 9) {
    CARD_Sender sender(card, kAddress, channel, name);
    sender.run();
    return sender.getError();
  }
  void AnswerAll(int connect = 0x20, int put = 0x20, int disconnect = 0x20) {
    obex.client().answer(connect).answer(put).answer(disconnect);
  }
  std::vector<int> Commands() {
    std::vector<int> commands;
    for (const auto& call : obex.calls("OBEX_ObjectNew")) {
      commands.push_back(static_cast<int>(call.numbers.front()));
    }
    return commands;
  }

  const std::string card = "BEGIN:VCARD\r\nEND:VCARD\r\n";
  FakeOpenObex obex;
};

TEST_F(CARD_SenderTest, AGoodPushConnectsPutsAndDisconnects) {
  AnswerAll();
  LogRecorder log;
  EXPECT_EQ(Push(), 0);
  EXPECT_THAT(Commands(), ElementsAre(0, 2, 1));
  EXPECT_EQ(obex.calls("BtOBEX_TransportConnect").front().bytes, kAddress);
  EXPECT_EQ(obex.calls("BtOBEX_TransportConnect").front().numbers, std::vector<std::int64_t>{9});
  EXPECT_EQ(obex.liveHandles(), 0);
  EXPECT_EQ(obex.liveObjects(), 0);
  EXPECT_THAT(log.texts(2), IsEmpty());
  for (const char* text : {"\tconnect ok.", "\tput ok.", "\tdisconnect ok.", "<run"}) {
    EXPECT_EQ(log.count(text), 1) << text;
  }
}

TEST_F(CARD_SenderTest, ConnectCarriesSixBytesOfWhoAlone) {
  AnswerAll();
  Push();
  const auto headers = obex.headersOfCommand(OBEX_CMD_CONNECT);
  ASSERT_EQ(headers.size(), 1U);
  EXPECT_EQ(headers[0].identifier, 0x4A);
  EXPECT_EQ(headers[0].value, "Corval");
}

TEST_F(CARD_SenderTest, PutCarriesLengthNameTypeAndBodyInThisOrder) {
  AnswerAll();
  Push("a.vcf");
  const auto headers = obex.headersOfCommand(OBEX_CMD_PUT);
  ASSERT_EQ(headers.size(), 4U);
  EXPECT_EQ(headers[0].identifier, 0xC3);
  EXPECT_EQ(headers[0].value, std::string("\0\0\0\x18", 4));
  EXPECT_EQ(headers[1].identifier, 0x01);
  EXPECT_EQ(headers[1].value, std::string("\0a\0.\0v\0c\0f\0\0", 12));
  EXPECT_EQ(headers[2].identifier, 0x42);
  EXPECT_EQ(headers[2].value, "vCard");
  EXPECT_EQ(headers[3].identifier, 0x48);
  EXPECT_EQ(headers[3].value, card);
}

TEST_F(CARD_SenderTest, OfTheChannelTheLowByteCounts) {
  AnswerAll();
  Push("a.vcf", 0x10C);
  EXPECT_EQ(obex.calls("BtOBEX_TransportConnect").front().numbers, std::vector<std::int64_t>{0x0C});
}

TEST_F(CARD_SenderTest, ARefusedConnectIsFollowedByPutAndDisconnect) {
  AnswerAll(0x43);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_THAT(Commands(), ElementsAre(0, 2, 1));
  EXPECT_THAT(log.texts(2),
              ElementsAre("\tconnect failed.", "\tError occured during vCard sending"));
}

TEST_F(CARD_SenderTest, ARefusedPutIsFollowedByDisconnect) {
  AnswerAll(0x20, 0x4F);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_THAT(Commands(), ElementsAre(0, 2, 1));
  EXPECT_THAT(log.texts(2), ElementsAre("\tput failed.", "\tError occured during vCard sending"));
}

TEST_F(CARD_SenderTest, ARefusedDisconnectFailsThePushToo) {
  AnswerAll(0x20, 0x20, 0x50);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_THAT(log.texts(2),
              ElementsAre("\tdisconnect failed.", "\tError occured during vCard sending"));
}

TEST_F(CARD_SenderTest, WithoutOpenObexThereIsNoPush) {
  obex.failInit(1);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_THAT(log.texts(2), ElementsAre("\tOBEX init"));
  EXPECT_THAT(obex.calls("OBEX_Cleanup"), IsEmpty());
}

TEST_F(CARD_SenderTest, AFailedConnectionLeavesTheHandleAsItIs) {
  obex.failConnect(1);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_THAT(log.texts(2), ElementsAre("\tOBEX transport connect"));
  EXPECT_THAT(obex.calls("OBEX_Cleanup"), IsEmpty());
  EXPECT_EQ(obex.liveHandles(), 1);
}

TEST_F(CARD_SenderTest, AConnectObjectThatCannotBeMadeEndsThePush) {
  obex.failObjectNew(1);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_THAT(log.texts(2), ElementsAre("\tError\n", "\tconnect client failed"));
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(CARD_SenderTest, AWhoHeaderThatCannotBeAddedEndsThePush) {
  obex.failAddHeader(1);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_THAT(log.texts(2), ElementsAre("\tError adding header.\n", "\tconnect client failed"));
  EXPECT_EQ(obex.calls("OBEX_ObjectDelete").size(), 1U);
  EXPECT_EQ(obex.liveObjects(), 0);
}

TEST_F(CARD_SenderTest, ADisconnectObjectThatCannotBeMadeIsAnErrorOfItsOwn) {
  obex.client().answer(0x20).call([this] { obex.failObjectNew(1); }).answer(0x20);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_THAT(log.texts(2), ElementsAre("\tError disconnecting client.\n"));
  EXPECT_TRUE(log.has("<run"));
}

TEST_F(CARD_SenderTest, AnErrorWhileConnectingEndsThePush) {
  obex.client().fail(-1);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_THAT(log.texts(2),
              ElementsAre("\tError while doing OBEX_HandleInput()\n", "\tconnect client failed"));
  EXPECT_FALSE(log.has("<run"));
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(CARD_SenderTest, ALinkErrorWhilePuttingEndsThePush) {
  obex.client().answer(0x20).linkError(-1);
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_TRUE(log.has("\tLink error: transfer canceled"));
  EXPECT_THAT(log.texts(2),
              ElementsAre("\tError while doing OBEX_HandleInput()\n", "\tput client failed"));
}

TEST_F(CARD_SenderTest, ASilentPeerIsGivenUpAfterTenSeconds) {
  obex.client().timeOut();
  ::testing::internal::CaptureStdout();
  LogRecorder log;
  EXPECT_EQ(Push(), 1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Timeout waiting for data. Aborting\n");
  EXPECT_EQ(obex.calls("OBEX_HandleInput").front().numbers, std::vector<std::int64_t>{10});
  EXPECT_EQ(obex.calls("OBEX_CancelRequest").front().numbers, std::vector<std::int64_t>{0});
  EXPECT_THAT(log.texts(2), ElementsAre("\tconnect client failed"));
}

TEST_F(CARD_SenderTest, EveryPacketIsWaitedForAnew) {
  for (int i = 0; i < 5; ++i) {
    obex.client().deliver({.event = OBEX_EV_PROGRESS, .mode = OBEX_MODE_CLIENT});
  }
  AnswerAll();
  EXPECT_EQ(Push(), 0);
  EXPECT_EQ(obex.calls("OBEX_HandleInput").size(), 8U);
}

TEST_F(CARD_SenderTest, EventsAreTracedByTheirNames) {
  for (const int event : {0, 1, 2, 4, 5, 6, 7, 8, 9, 10, 11, 12}) {
    obex.client().deliver({.event = event, .mode = OBEX_MODE_CLIENT});
  }
  // A request that is done is none of ours when it was a server's.
  obex.client().deliver({.event = OBEX_EV_REQDONE, .mode = OBEX_MODE_SERVER});
  AnswerAll();
  LogRecorder log;
  EXPECT_EQ(Push(), 0);
  for (const char* text :
       {"\tprogress event", "\tREQHINT", "\tREQ", "\tLink error: transfer canceled", "\tPARSEERR",
        "\tACCEPTHINT", "\tABORT", "\tSTREAMEMPTY", "\tSTREAMAVAIL", "\tUNEXPECTED", "\tREQCHECK",
        "\tUnknown event 0c!\n"}) {
    EXPECT_EQ(log.count(text), 1) << text;
  }
  EXPECT_EQ(log.count(">client_done"), 3);
}

TEST_F(CARD_SenderTest, OtherCommandsThatAreDoneCountAsSuccess) {
  void** const handle = openobex::OBEX_Init(OBEX_TRANS_BLUETOOTH, CARD_Sender::obex_event, 0);
  SenderSyncFlags flags{};
  openobex::OBEX_SetUserData(handle, &flags);
  CARD_Sender::client_done(nullptr, OBEX_CMD_GET, 0x51, handle);
  EXPECT_EQ(flags.requestDone, 1);
  EXPECT_EQ(flags.requestFailed, 0);
  openobex::OBEX_Cleanup(handle);
}

TEST_F(CARD_SenderTest, ANameOf99CharactersFits) {
  AnswerAll();
  EXPECT_EQ(Push(std::string(99, 'n')), 0);
  EXPECT_EQ(obex.headersOfCommand(OBEX_CMD_PUT)[1].value.size(), 200U);
}

TEST_F(CARD_SenderTest, ALongerNameIsLeftOutAndTheCardGoesOutAllTheSame) {
  for (const std::size_t length : {100U, 199U, 200U, 201U, 5000U}) {
    obex.forgetCalls();
    AnswerAll();
    EXPECT_EQ(Push(std::string(length, 'n')), 0) << length;
    std::vector<std::int64_t> sizes;
    for (const auto& call : obex.calls("OBEX_ObjectAddHeader")) sizes.push_back(call.numbers[1]);
    EXPECT_THAT(sizes, Contains(std::int64_t{0xFFFFFFFF})) << length;
  }
}

TEST_F(CARD_SenderTest, ThePutIsTracedWithItsBytesAndName) {
  AnswerAll();
  LogRecorder log;
  Push("b.vcf");
  EXPECT_TRUE(log.has("\tsending 24 bytes: " + card));
  EXPECT_TRUE(log.has("\tremote filename: b.vcf, length: 5"));
}

TEST_F(CARD_SenderTest, LifeIsTraced) {
  LogRecorder log;
  {
    CARD_Sender sender("", "", 0, "");
    EXPECT_TRUE(sender.init());
    EXPECT_EQ(sender.getError(), 0);
  }
  EXPECT_THAT(log.texts(),
              ElementsAre(">CARD_Sender", ">init", "<init", "<CARD_Sender", ">init", "<init",
                          ">getError", "<getError", ">~CARD_Sender", "<~CARD_Sender"));
}

}  // namespace
}  // namespace test
