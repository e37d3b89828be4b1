#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/support/WaitFor.h"
#include "tests/tools/ImageFile.h"
#include "tests/tools/PhoneFixture.h"
#include "tests/tools/Terminal.h"

namespace {

using test::Finished;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

const test::Program::Words kThere = {"--to", "66:77:88:99:AA:BB", "--channel", "9"};

/// A phone with one contact to send to another device.
class Send : public test::PhoneFixture {
 protected:
  void SetUp() override {
    PhoneFixture::SetUp();
    startPhone();
    add({"--surname", "Berg", "--firstname", "Anna", "--mobile", "5", "--defaultnumber", "Mobile"});
  }
  // A phone that is still sending would delay the end of the test.
  void TearDown() override {
    m_receiver.reset();
    PhoneFixture::TearDown();
  }

  void add(test::Program::Words options) {
    options.insert(options.begin(), {"book", "add"});
    const Finished added = phonectl(options);
    ASSERT_EQ(added.exitCode, 0) << added.err;
  }
  /// `phonectl send WHAT... --to THERE`.
  Finished send(const test::Program::Words& what, const std::string& input = "") {
    return phonectl(sendWords(what), input);
  }
  std::unique_ptr<test::Program> startSend(const test::Program::Words& what,
                                           test::Program::Options with = {}) {
    return startPhonectl(sendWords(what), with);
  }
  void expectSent(const Finished& finished, const std::string& contact) {
    EXPECT_EQ(finished.exitCode, 0) << finished.err << phone().err();
    EXPECT_EQ(finished.out, "Sent to 66:77:88:99:AA:BB, channel 9: " + contact + "\n");
    EXPECT_EQ(m_receiver->wait(), 0) << m_receiver->out();
  }
  static std::string cardOf(const std::string& json) {
    return test::runProgram({CARDTOOL, "write", "-"}, {.input = json}).out;
  }

  void startListening() { m_receiver = startReceiver(); }
  /// A device that accepts the link and stays silent.
  void startSilence() {
    startListening();
    m_receiver->signal(SIGSTOP);
  }

  std::unique_ptr<test::Program> m_receiver;

 private:
  static test::Program::Words sendWords(const test::Program::Words& what) {
    test::Program::Words words{"send"};
    words.insert(words.end(), what.begin(), what.end());
    words.insert(words.end(), kThere.begin(), kThere.end());
    return words;
  }
};

}  // namespace

TEST_F(Send, SendsAnEntryAsCardtoolWritesIt) {
  startListening();
  expectSent(send({"Berg"}), "Berg, Anna");
  const std::string contact = phonectl({"book", "show", "--contact", "1"}).out;
  EXPECT_EQ(received("BergAnna.vcf"), cardOf(contact));
  EXPECT_THAT(received("BergAnna.vcf"), HasSubstr("TEL;VOICE;CELL;PREF:5\r\n"));
}

TEST_F(Send, SendsAContactFromJson) {
  const test::ImageFile picture("send", "\xff\xd8picture");
  const std::string json =
      R"({"firstname":"José","surname":"Dahl","defaultnumber":"Private","office":"1",)"
      R"("office2":"2","mobile":"3","privatenumber":"4","email":"e","address":"a","address2":"b",)"
      R"("company":"c","jobfunction":"j","picture":")" +
      picture.name() + "\"}";
  startListening();
  expectSent(send({"--json", "-"}, json), "Dahl, José");
  const std::string card = received("DahlJosé.vcf");
  EXPECT_EQ(card, cardOf(json));
  EXPECT_THAT(card, HasSubstr("PHOTO;ENCODING=BASE64;TYPE=JPEG:/9hwaWN0dXJl\r\n"));
}

TEST_F(Send, SendsTheContactPrintedByShow) {
  startListening();
  const std::string contact = phonectl({"book", "show", "--contact", "Berg"}).out;
  expectSent(send({"--json", folder().write("contact.json", contact)}), "Berg, Anna");
}

TEST_F(Send, SendsAContactWithoutAName) {
  startListening();
  expectSent(send({"--json", "-"}, R"({"mobile":"5"})"), "(no name)");
  EXPECT_THAT(received("vcard.vcf"), HasSubstr("TEL;VOICE;CELL:5\r\n"));
}

TEST_F(Send, SendsInvalidUtf8Unchanged) {
  const std::string file = folder().write("card.vcf", card("Odd", "TEL;CELL:5\xff\r\n"));
  ASSERT_EQ(phonectl({"book", "import", file}).exitCode, 0);
  startListening();
  expectSent(send({"Odd"}), "Odd, Test");
  EXPECT_THAT(received("OddTest.vcf"), HasSubstr("TEL;VOICE;CELL;PREF:5\xff\r\n"));
  const Finished shown = phonectl({"book", "show", "--contact", "Odd"});
  EXPECT_EQ(shown.exitCode, 1);
  EXPECT_EQ(shown.out, "");
  EXPECT_THAT(shown.err, HasSubstr("\"mobile\" is not valid UTF-8"));
}

TEST_F(Send, FailsWithAdviceIfNobodyListens) {
  const Finished failed = send({"Berg"});
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_EQ(failed.out, "");
  EXPECT_THAT(failed.err, HasSubstr("Berg, Anna was not sent to 66:77:88:99:AA:BB, channel 9."));
  EXPECT_THAT(failed.err, HasSubstr("Check the address and channel"));
  EXPECT_THAT(failed.err, HasSubstr("still pending: phonectl send --pending"));
}

TEST_F(Send, SendsThePendingContactAgain) {
  ASSERT_EQ(send({"Berg"}).exitCode, 1);
  ASSERT_EQ(send({"--pending"}).exitCode, 1);
  startListening();
  expectSent(send({"--pending"}), "Berg, Anna");
  EXPECT_THAT(received("BergAnna.vcf"), HasSubstr("N;CHARSET=UTF-8:Berg;Anna;;;"));
  const Finished again = send({"--pending"});
  EXPECT_EQ(again.exitCode, 1);
  EXPECT_THAT(again.err, HasSubstr("the phone has no pending contact"));
}

TEST_F(Send, CancelDropsThePendingContact) {
  ASSERT_EQ(send({"Berg"}).exitCode, 1);
  const Finished cancelled = phonectl({"cancel"});
  EXPECT_EQ(cancelled.exitCode, 0) << cancelled.err;
  EXPECT_EQ(cancelled.out, "No contact is pending any more.\n");
  EXPECT_THAT(send({"--pending"}).err, HasSubstr("the phone has no pending contact"));
  EXPECT_EQ(phonectl({"cancel"}).exitCode, 0);
}

TEST_F(Send, ReplacesThePendingContact) {
  ASSERT_EQ(send({"Berg"}).exitCode, 1);
  startListening();
  expectSent(send({"--json", "-"}, R"({"surname":"Dahl"})"), "Dahl");
  EXPECT_THAT(send({"--pending"}).err, HasSubstr("the phone has no pending contact"));
}

TEST_F(Send, NotifiesOtherObserversInOrder) {
  const auto watch = startWatch({"--json"});
  ASSERT_EQ(send({"Berg"}).exitCode, 1);
  startListening();
  expectSent(send({"--pending"}), "Berg, Anna");
  ASSERT_TRUE(watch->waitForOut("\"sent\"")) << watch->out();
  EXPECT_THAT(watch->out(),
              ContainsRegex("\"destination\",\"contact\":\"Berg, Anna\"[^~]*"
                            "\"send-error\",\"contact\":\"Berg, Anna\",\"address\":\"66:77[^~]*"
                            "\"sent\",\"contact\":\"Berg, Anna\""));
}

TEST_F(Send, EscapesControlCharacters) {
  const Finished failed = send({"--json", "-"}, "{\"surname\":\"\\u202ex\\u001b[31m\"}");
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_THAT(failed.err, HasSubstr("\\u202ex [31m was not sent"));
  EXPECT_THAT(failed.err, Not(HasSubstr("\x1b")));
}

TEST_F(Send, ReportsALongTransferAndEndsOnSigint) {
  startSilence();
  const auto sending = startSend({"Berg"});
  ASSERT_TRUE(sending->waitForErr(
      "sending to 66:77:88:99:AA:BB, channel 9 for 2 s. Press Ctrl-C to leave"));
  sending->signal(SIGINT);
  EXPECT_EQ(sending->wait(), 128 + SIGINT);
  EXPECT_THAT(sending->err(), HasSubstr("the phone still carries out the request"));
}

TEST_F(Send, CountsSecondsInATerminal) {
  startSilence();
  test::Terminal terminal;
  const auto sending = startSend({"Berg"}, {.terminal = terminal.name()});
  EXPECT_TRUE(terminal.waitFor("sending to 66:77:88:99:AA:BB, channel 9 for 1 s"));
  EXPECT_TRUE(terminal.waitFor("channel 9 for 2 s"));
  m_receiver.reset();
  EXPECT_TRUE(terminal.waitFor("Berg, Anna was not sent to"));
  EXPECT_EQ(sending->wait(), 1);
}

TEST_F(Send, WaitsForAnotherTransfer) {
  startSilence();
  const auto first = startSend({"Berg"});
  ASSERT_TRUE(first->waitForErr("sending to"));
  const auto second = startSend({"--json", folder().write("c.json", R"({"surname":"Dahl"})")});
  ASSERT_TRUE(second->waitForErr("the phone is busy (sending a card for"));
  m_receiver.reset();
  EXPECT_EQ(first->wait(), 1);
  EXPECT_EQ(second->wait(), 1);
  EXPECT_THAT(first->err(), HasSubstr("Berg, Anna was not sent"));
  EXPECT_THAT(second->err(), HasSubstr("Dahl was not sent"));
}

TEST_F(Send, ReportsThatThePhoneWentAway) {
  startSilence();
  const auto sending = startSend({"Berg"});
  ASSERT_TRUE(sending->waitForErr("sending to"));
  killPhone();
  EXPECT_EQ(sending->wait(), 4);
  EXPECT_THAT(sending->err(), HasSubstr("went away before it answered"));
}

TEST_F(Send, ReportsThatTheBusWentAway) {
  startSilence();
  const auto sending = startSend({"Berg"});
  ASSERT_TRUE(sending->waitForErr("sending to"));
  killBus();
  EXPECT_EQ(sending->wait(), 4);
  EXPECT_THAT(sending->err(), HasSubstr("lost the connection to the bus at"));
}

TEST_F(Send, RejectsInvalidContacts) {
  EXPECT_THAT(send({"Nobody"}).err, HasSubstr("the phonebook has no entry \"Nobody\""));
  const Finished bad = send({"--json", "-"}, R"({"Surname":"x"})");
  EXPECT_EQ(bad.exitCode, 1);
  EXPECT_THAT(bad.err, HasSubstr("phonectl: standard input: unknown field \"Surname\""));
  const Finished none = send({"--json", folder().file("none.json")});
  EXPECT_EQ(none.exitCode, 1);
  EXPECT_THAT(none.err, HasSubstr("none.json: can't be opened"));
  EXPECT_THAT(send({"--pending"}).err, HasSubstr("the phone has no pending contact"));
}
