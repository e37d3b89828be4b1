#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/tools/PhoneFixture.h"
#include "tests/tools/Terminal.h"

namespace {

using testing::HasSubstr;
using testing::Not;

/// `phonectl watch` in a terminal.
class WatchInATerminal : public test::PhoneFixture {
 protected:
  void SetUp() override {
    PhoneFixture::SetUp();
    startReceivingPhone();
    m_watch = startPhonectl({"watch"}, {.terminal = m_terminal.name()});
    waitForScreen("Waiting for cards. Press Ctrl-C to end.");
  }

  void waitForScreen(const std::string& text, int count = 1) {
    ASSERT_TRUE(m_terminal.waitFor(text, count)) << m_terminal.screen();
  }

  test::Terminal m_terminal;
  std::unique_ptr<test::Program> m_watch;
};

}  // namespace

TEST_F(WatchInATerminal, StoresAfterYes) {
  push({card("Berg", "TEL;CELL:5\r\n")});
  waitForScreen("mobile     5  (default)");
  waitForScreen("Store it? [y]es/[n]o/[l]ater ");
  m_terminal.type("y\n");
  waitForScreen("1 card stored: Berg, Test.");
  EXPECT_THAT(phonectl({"book", "list"}).out, HasSubstr("Berg, Test"));
}

TEST_F(WatchInATerminal, RejectsAfterNo) {
  push({card("Berg")});
  waitForScreen("Store it?");
  m_terminal.type("no\n");
  waitForScreen("1 card rejected.");
  EXPECT_EQ(phonectl({"accept"}).out, "No card was waiting; nothing was stored.\n");
}

TEST_F(WatchInATerminal, KeepsTheCardWaitingAfterLater) {
  push({card("Berg")});
  waitForScreen("Store it?");
  m_terminal.type("l\n");
  waitForScreen("asked again with the next card");
  push({card("Dahl")});
  waitForScreen("2 cards are waiting; the answer applies to all of them. Store them?");
  m_terminal.type("yes\n");
  waitForScreen("2 cards stored, the first is Berg, Test.");
}

TEST_F(WatchInATerminal, AsksAgainWhenAnotherCardComesIn) {
  push({card("Berg")});
  waitForScreen("Store it?");
  push({card("Dahl")});
  waitForScreen("A card has come in (2 are waiting):");
  waitForScreen("2 cards are waiting; the answer applies to all of them. Store them?");
  m_terminal.type("y\n");
  waitForScreen("2 cards stored");
}

TEST_F(WatchInATerminal, AsksAgainAfterAnUnclearAnswer) {
  push({card("Berg")});
  waitForScreen("Store it?");
  m_terminal.type("maybe\n");
  waitForScreen("Please answer y, n or l: ");
  m_terminal.type("n\n");
  waitForScreen("1 card rejected.");
}

TEST_F(WatchInATerminal, IgnoresInputTypedBeforeThePrompt) {
  m_terminal.type("y\n");
  push({card("Berg")});
  waitForScreen("Store it?");
  m_terminal.type("n\n");
  waitForScreen("1 card rejected.");
  EXPECT_THAT(m_terminal.screen(), Not(HasSubstr("stored")));
}

TEST_F(WatchInATerminal, ClosesThePromptWhenSomeoneElseAnswers) {
  push({card("Berg")});
  waitForScreen("Store it?");
  EXPECT_EQ(phonectl({"accept"}).exitCode, 0);
  waitForScreen("1 card stored: Berg, Test.");
  push({card("Dahl")});
  waitForScreen("Store it?", 2);
  m_terminal.type("y\n");
  waitForScreen("1 card stored: Dahl, Test.");
}

TEST_F(WatchInATerminal, EscapesControlCharacters) {
  push({card("\x1b[2J\x1b]0;title\x07\u202eRed", "TEL;CELL:\x1b[6n\x9b\r\n")});
  waitForScreen("Store it?");
  EXPECT_THAT(m_terminal.screen(), HasSubstr("\\x1b[2J"));
  EXPECT_THAT(m_terminal.screen(), Not(HasSubstr("\x1b")));
  EXPECT_THAT(m_terminal.screen(), Not(HasSubstr("\x07")));
  EXPECT_THAT(m_terminal.screen(), Not(HasSubstr("\x9b[")));
}

TEST_F(WatchInATerminal, EndsOnControlC) {
  push({card("Berg")});
  waitForScreen("Store it?");
  m_terminal.type("\x03");
  EXPECT_EQ(m_watch->wait(), 0);
}

TEST_F(WatchInATerminal, KeepsShowingCardsAfterTheEndOfInput) {
  push({card("Berg")});
  waitForScreen("Store it?");
  m_terminal.type("\x04");
  waitForScreen("standard input has ended");
  push({card("Dahl")});
  waitForScreen("Dahl, Test");
  EXPECT_TRUE(m_watch->running());
}
