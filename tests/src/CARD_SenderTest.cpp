// Sending one card to another device.

#include "src/CARD_Sender.h"

#include <stdio_ext.h>

#include <algorithm>
#include <optional>

#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

const std::string kAddress = "00:1A:7D:DA:71:13";

class BluetoothAddress : public ::testing::Test {
 protected:
  void expectValid(const std::string& text, const std::vector<int>& bytes) {
    bdaddr_t address;
    EXPECT_EQ(bt_aton(text.c_str(), &address), 1) << text;
    EXPECT_EQ(std::vector<int>(address.b, address.b + 6), bytes) << text;
  }
  void expectInvalid(const std::string& text) {
    bdaddr_t address;
    EXPECT_EQ(bt_aton(text.c_str(), &address), 0) << text;
  }
};

TEST_F(BluetoothAddress, StoresTheFirstGroupInTheLastByte) {
  expectValid("00:1A:7D:DA:71:13", {0x13, 0x71, 0xDA, 0x7D, 0x1A, 0x00});
}

TEST_F(BluetoothAddress, AcceptsEveryHexadecimalDigit) {
  expectValid("01:23:45:67:89:AB", {0xAB, 0x89, 0x67, 0x45, 0x23, 0x01});
  expectValid("CD:EF:ab:cd:ef:90", {0x90, 0xEF, 0xCD, 0xAB, 0xEF, 0xCD});
}

TEST_F(BluetoothAddress, AcceptsGroupsOfOneDigit) {
  expectValid("0:1a:7d:da:71:3", {0x03, 0x71, 0xDA, 0x7D, 0x1A, 0x00});
}

TEST_F(BluetoothAddress, RefusesAnyOtherNumberOfGroups) {
  expectInvalid("00:1A:7D:DA:71");
  expectInvalid("00:1A:7D:DA:71:13:14");
  expectInvalid("00:1A:7D:DA:71:13:");
  expectInvalid("001A7DDA7113");
  expectInvalid("");
}

TEST_F(BluetoothAddress, RefusesEmptyAndLongGroups) {
  expectInvalid(":1A:7D:DA:71:13");
  expectInvalid("00:1A::DA:71:13");
  expectInvalid("000:1A:7D:DA:71:13");
  expectInvalid("00:1A:7D:DA:71:113");
}

TEST_F(BluetoothAddress, RefusesTheNeighboursOfTheDigits) {
  for (const char c : {'/', ':', '@', 'G', '`', 'g', ' '}) {
    expectInvalid(std::string("1") + c + ":1A:7D:DA:71:13");
    expectInvalid(std::string(1, c) + "1:1A:7D:DA:71:13");
  }
}

TEST_F(BluetoothAddress, ClearsTheResultFirst) {
  bdaddr_t address;
  std::fill(address.b, address.b + 6, 0xFF);
  EXPECT_EQ(bt_aton("x", &address), 0);
  EXPECT_EQ(std::vector<int>(address.b, address.b + 6), std::vector<int>(6, 0));
}

class CardSending : public ::testing::Test {
 protected:
  CardSending() { recording.listenTo(obex); }

  /// Sends the card and keeps what `run` did for `expectRun`.
  int send(const std::string& name = "a.vcf", int channel = 9) {
    CARD_Sender sender(kCard, kAddress, channel, name);
    recording.forget();
    sender.run();
    m_entries = recording.entries();
    return sender.getError();
  }
  void expectRun(const std::vector<Entries>& parts) { expectEntries(m_entries, joined(parts)); }
  void answer(int connect = 0x20, int put = 0x20, int disconnect = 0x20) {
    obex.client().answer(connect).answer(put).answer(disconnect);
  }
  /// What the answer to a request leads to; `result` is the line that judges it.
  static Entries answered(const std::string& request, const std::string& result) {
    return {"OBEX_HandleInput 10",
            ">obex_event",
            "\tCARD_Sender::obex_event(): using obex_handle = P1, event = 3",
            ">client_done",
            "OBEX_GetUserData",
            ">" + request + "_client_done",
            result,
            "<" + request + "_client_done",
            "<client_done",
            "<obex_event"};
  }

  const std::string kCard = "BEGIN:VCARD\r\nEND:VCARD\r\n";
  const Entries kOpen = {">run", "OBEX_Init 4 0", "\tCARD_Sender::run(): got m_handle = P1",
                         "OBEX_SetUserData", "BtOBEX_TransportConnect 9"};
  const Entries kConnect = {">connect_client", "OBEX_ObjectNew 0", "OBEX_ObjectAddHeader 74 6 1",
                            "OBEX_Request",    ">syncwait",        "OBEX_GetUserData"};
  const Entries kConnected = answered("connect", "\tconnect ok.");
  const Entries kPut = {">put_client",
                        "\tsending 24 bytes: " + kCard,
                        "\tremote filename: a.vcf, length: 5",
                        "OBEX_ObjectNew 2",
                        "OBEX_ObjectAddHeader 195 4 0",
                        "OBEX_ObjectAddHeader 1 12 0",
                        "OBEX_ObjectAddHeader 66 5 0",
                        "OBEX_ObjectAddHeader 72 24 0",
                        "OBEX_Request",
                        ">syncwait",
                        "OBEX_GetUserData"};
  const Entries kSent = answered("put", "\tput ok.");
  const Entries kDisconnect = {">disconnect_client", "OBEX_ObjectNew 1", "OBEX_Request",
                               ">syncwait", "OBEX_GetUserData"};
  const Entries kDisconnected = answered("disconnect", "\tdisconnect ok.");
  const Entries kDone = {"<syncwait"};
  const Entries kDisconnectDone = {"<syncwait", "<disconnect_client"};
  const Entries kClose = {"OBEX_Cleanup", "<run"};
  const Entries kInputError = {"OBEX_HandleInput 10",
                               "error: \tError while doing OBEX_HandleInput()\n"};
  const Entries kTimeout = {"OBEX_HandleInput 10", "OBEX_CancelRequest 0"};
  const Entries kFailed = {"error: \tError occured during vCard sending"};

  Recording recording{"CARD_Sender"};
  openobex::fake::FakeOpenObex obex;

 private:
  Entries m_entries;
};

TEST_F(CardSending, ConnectsPutsAndDisconnects) {
  answer();
  EXPECT_EQ(send(), 0);
  expectRun({kOpen, kConnect, kConnected, kDone, kPut, kSent, kDone, kDisconnect, kDisconnected,
             kDisconnectDone, kClose});
  EXPECT_EQ(obex.liveHandles(), 0);
  EXPECT_EQ(obex.liveObjects(), 0);
}

TEST_F(CardSending, GoesToTheGivenAddressOnTheLowByteOfTheChannel) {
  answer();
  send("a.vcf", 0x10C);
  const openobex::fake::Call connect = obex.calls("BtOBEX_TransportConnect").front();
  EXPECT_EQ(connect.bytes, kAddress);
  EXPECT_EQ(connect.numbers, std::vector<std::int64_t>{0x0C});
}

TEST_F(CardSending, CarriesSixBytesOfWhoInConnect) {
  answer();
  send();
  const auto headers = obex.headersOfCommand(OBEX_CMD_CONNECT);
  ASSERT_EQ(headers.size(), 1U);
  EXPECT_EQ(headers[0].value, "Corval");
}

TEST_F(CardSending, CarriesLengthNameTypeAndBodyInPut) {
  answer();
  send("a.vcf");
  const auto headers = obex.headersOfCommand(OBEX_CMD_PUT);
  ASSERT_EQ(headers.size(), 4U);
  EXPECT_EQ(headers[0].value, std::string("\0\0\0\x18", 4));
  EXPECT_EQ(headers[1].value, std::string("\0a\0.\0v\0c\0f\0\0", 12));
  EXPECT_EQ(headers[2].value, "vCard");
  EXPECT_EQ(headers[3].value, kCard);
}

// Refusals

TEST_F(CardSending, GoesOnAfterARefusedConnect) {
  answer(0x43);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen, kConnect, answered("connect", "error: \tconnect failed."), kDone, kPut, kSent,
             kDone, kDisconnect, kDisconnected, kDisconnectDone, kFailed, kClose});
}

TEST_F(CardSending, DisconnectsAfterARefusedPut) {
  answer(0x20, 0x4F);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen, kConnect, kConnected, kDone, kPut, answered("put", "error: \tput failed."),
             kDone, kDisconnect, kDisconnected, kDisconnectDone, kFailed, kClose});
}

TEST_F(CardSending, FailsWhenDisconnectIsRefused) {
  answer(0x20, 0x20, 0x50);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen, kConnect, kConnected, kDone, kPut, kSent, kDone, kDisconnect,
             answered("disconnect", "error: \tdisconnect failed."), kDisconnectDone, kFailed,
             kClose});
}

TEST_F(CardSending, TakesOnlySuccessForAnAcceptedRequest) {
  answer(0x10);
  EXPECT_EQ(send(), 1);
}

// Local failures

TEST_F(CardSending, FailsWithoutOpenObex) {
  obex.failInit(1);
  EXPECT_EQ(send(), 1);
  expectRun({{">run", "OBEX_Init 4 0", "error: \tOBEX init"}});
}

TEST_F(CardSending, LeavesTheHandleWhenTheLinkCannotBeOpened) {
  obex.failConnect(1);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen, {"error: \tOBEX transport connect"}});
  EXPECT_EQ(obex.liveHandles(), 1);
}

TEST_F(CardSending, EndsWhenTheConnectObjectCannotBeMade) {
  obex.failObjectNew(1);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen,
             {">connect_client", "OBEX_ObjectNew 0", "error: \tError\n",
              "error: \tconnect client failed", "OBEX_Cleanup"}});
}

TEST_F(CardSending, EndsWhenTheWhoHeaderCannotBeAdded) {
  obex.failAddHeader(1);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen,
             {">connect_client", "OBEX_ObjectNew 0", "OBEX_ObjectAddHeader 74 6 1",
              "error: \tError adding header.\n", "OBEX_ObjectDelete",
              "error: \tconnect client failed", "OBEX_Cleanup"}});
  EXPECT_EQ(obex.liveObjects(), 0);
}

TEST_F(CardSending, FailsWhenTheDisconnectObjectCannotBeMade) {
  obex.client().answer(0x20).call([this] { obex.failObjectNew(1); }).answer(0x20);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen,
             kConnect,
             kConnected,
             kDone,
             kPut,
             {"OBEX_HandleInput 10"},
             kSent,
             kDone,
             {">disconnect_client", "OBEX_ObjectNew 1", "error: \tError disconnecting client.\n"},
             kClose});
}

TEST_F(CardSending, EndsOnAnInputErrorAfterConnect) {
  obex.client().fail(-1);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen, kConnect, kInputError, {"error: \tconnect client failed", "OBEX_Cleanup"}});
}

TEST_F(CardSending, EndsWhenTheLinkBreaksDuringPut) {
  obex.client().answer(0x20).linkError(-1);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen,
             kConnect,
             kConnected,
             kDone,
             kPut,
             {"OBEX_HandleInput 10", ">obex_event",
              "\tCARD_Sender::obex_event(): using obex_handle = P1, event = 4",
              "\tLink error: transfer canceled", "<obex_event",
              "error: \tError while doing OBEX_HandleInput()\n", "error: \tput client failed",
              "OBEX_Cleanup"}});
}

TEST_F(CardSending, FailsOnAnInputErrorAfterDisconnect) {
  obex.client().answer(0x20).answer(0x20).fail(-1);
  EXPECT_EQ(send(), 1);
  expectRun({kOpen,
             kConnect,
             kConnected,
             kDone,
             kPut,
             kSent,
             kDone,
             kDisconnect,
             kInputError,
             {"<disconnect_client"},
             kClose});
}

TEST_F(CardSending, EndsWhenThePeerIsSilentAfterConnect) {
  obex.client().timeOut();
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(send(), 1);
  EXPECT_EQ(__fpending(stdout), 0U) << "not flushed";
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Timeout waiting for data. Aborting\n");
  expectRun({kOpen, kConnect, kTimeout, {"error: \tconnect client failed", "OBEX_Cleanup"}});
}

TEST_F(CardSending, EndsWhenThePeerIsSilentAfterPut) {
  obex.client().answer(0x20).timeOut();
  EXPECT_EQ(send(), 1);
  expectRun({kOpen,
             kConnect,
             kConnected,
             kDone,
             kPut,
             kTimeout,
             {"error: \tput client failed", "OBEX_Cleanup"}});
}

TEST_F(CardSending, FailsWhenThePeerIsSilentAfterDisconnect) {
  obex.client().answer(0x20).answer(0x20).timeOut();
  EXPECT_EQ(send(), 1);
  expectRun({kOpen,
             kConnect,
             kConnected,
             kDone,
             kPut,
             kSent,
             kDone,
             kDisconnect,
             kTimeout,
             {"<disconnect_client"},
             kClose});
}

TEST_F(CardSending, WaitsAnewAfterEveryPacket) {
  for (int i = 0; i < 5; ++i) {
    obex.client().deliver({.event = OBEX_EV_PROGRESS, .mode = OBEX_MODE_CLIENT});
  }
  answer();
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(obex.calls("OBEX_HandleInput").size(), 8U);
}

TEST_F(CardSending, ForgetsAnEarlierErrorWhenItRunsAgain) {
  CARD_Sender sender(kCard, kAddress, 9, "a.vcf");
  obex.failInit(1);
  sender.run();
  answer();
  sender.run();
  EXPECT_EQ(sender.getError(), 0);
}

// Events

TEST_F(CardSending, TracesEventsByTheirNames) {
  const std::vector<std::pair<int, std::string>> events = {{0, "\tprogress event"},
                                                           {1, "\tREQHINT"},
                                                           {2, "\tREQ"},
                                                           {5, "\tPARSEERR"},
                                                           {6, "\tACCEPTHINT"},
                                                           {7, "\tABORT"},
                                                           {8, "\tSTREAMEMPTY"},
                                                           {9, "\tSTREAMAVAIL"},
                                                           {10, "\tUNEXPECTED"},
                                                           {11, "\tREQCHECK"},
                                                           {12, "\tUnknown event 0c!\n"}};
  std::vector<Entries> parts = {kOpen, kConnect};
  for (const auto& [event, text] : events) {
    obex.client().deliver({.event = event, .mode = OBEX_MODE_CLIENT});
    parts.push_back(
        {"OBEX_HandleInput 10", ">obex_event",
         "\tCARD_Sender::obex_event(): using obex_handle = P1, event = " + std::to_string(event),
         text, "<obex_event"});
  }
  obex.client().fail();
  send();
  parts.insert(parts.end(), {kInputError, {"error: \tconnect client failed", "OBEX_Cleanup"}});
  expectRun(parts);
}

TEST_F(CardSending, IgnoresTheEndOfAServersRequest) {
  obex.client().deliver({.event = OBEX_EV_REQDONE, .mode = OBEX_MODE_SERVER}).fail();
  send();
  expectRun({kOpen,
             kConnect,
             {"OBEX_HandleInput 10", ">obex_event",
              "\tCARD_Sender::obex_event(): using obex_handle = P1, event = 3", "<obex_event"},
             kInputError,
             {"error: \tconnect client failed", "OBEX_Cleanup"}});
}

TEST_F(CardSending, TakesAnotherCommandForASuccess) {
  void** const handle = openobex::OBEX_Init(OBEX_TRANS_BLUETOOTH, CARD_Sender::obex_event, 0);
  SenderSyncFlags flags{};
  openobex::OBEX_SetUserData(handle, &flags);
  CARD_Sender::client_done(nullptr, OBEX_CMD_GET, 0x51, handle);
  EXPECT_EQ(flags.requestDone, 1);
  EXPECT_EQ(flags.requestFailed, 0);
  openobex::OBEX_Cleanup(handle);
}

// The object's name

TEST_F(CardSending, SendsANameOf99Characters) {
  answer();
  EXPECT_EQ(send(std::string(99, 'n')), 0);
  EXPECT_EQ(obex.headersOfCommand(OBEX_CMD_PUT)[1].value.size(), 200U);
}

TEST_F(CardSending, LeavesOutALongerName) {
  for (const std::size_t length : {100U, 199U, 200U, 201U, 5000U}) {
    obex.forgetCalls();
    answer();
    EXPECT_EQ(send(std::string(length, 'n')), 0) << length;
    EXPECT_EQ(recording.count("OBEX_ObjectAddHeader 1 4294967295 0"), 1) << length;
  }
}

// Life

TEST_F(CardSending, TracesConstructionInitAndDestruction) {
  std::optional<CARD_Sender> sender;
  sender.emplace("", "", 0, "");
  recording.expect({">CARD_Sender", ">init", "<init", "<CARD_Sender"});
  EXPECT_TRUE(sender->init());
  EXPECT_EQ(sender->getError(), 0);
  recording.expect({">init", "<init", ">getError", "<getError"});
  sender.reset();
  recording.expect({">~CARD_Sender", "<~CARD_Sender"});
}

}  // namespace
}  // namespace test
