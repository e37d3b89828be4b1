#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/WaitFor.h"
#include "tests/tools/PhoneFixture.h"

namespace {

using nlohmann::json;
using test::Finished;
using test::Program;
using testing::HasSubstr;
using testing::Not;

class WatchAndAnswer : public test::PhoneFixture {
 protected:
  static std::vector<json> eventsOf(const Program& watch, const std::string& name) {
    std::vector<json> events;
    std::istringstream lines(watch.out());
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
      const json event = json::parse(line);
      if (event.at("event") == name) events.push_back(event);
    }
    return events;
  }

  static std::vector<json> waitForEvents(Program& watch, const std::string& name,
                                         std::size_t count = 1) {
    test::waitFor([&] { return eventsOf(watch, name).size() >= count || !watch.running(); });
    std::vector<json> events = eventsOf(watch, name);
    EXPECT_GE(events.size(), count) << watch.out() << watch.err();
    events.resize(std::max(events.size(), count));
    return events;
  }

  std::string names() {
    std::string all;
    for (const json& entry : json::parse(phonectl({"book", "list", "--json"}).out)) {
      all += entry.at("Surname").get<std::string>() + " ";
    }
    return all;
  }

  static void expectEndsWell(Program& watch, int signal = SIGTERM) {
    watch.signal(signal);
    EXPECT_EQ(watch.wait(), 0) << watch.err();
    EXPECT_EQ(watch.err(), "");
  }
};

}  // namespace

TEST_F(WatchAndAnswer, PrintsJsonEventsOfACard) {
  startReceivingPhone();
  const auto watch = startWatch({"--json"});
  pushAndWaitFor(*watch, {card("Berg", "TEL;CELL:5\r\n")});
  const json offered = waitForEvents(*watch, "accept")[0];
  EXPECT_EQ(offered.at("waiting"), 1);
  EXPECT_EQ(offered.at("card").at("Surname"), "Berg");
  EXPECT_EQ(offered.at("card").at("Mobile"), "5");
  const Finished accepted = phonectl({"accept"});
  EXPECT_EQ(accepted.exitCode, 0) << accepted.err;
  EXPECT_EQ(accepted.out, "1 card stored: Berg, Test.\n");
  const json received = waitForEvents(*watch, "received")[0];
  EXPECT_EQ(received.at("count"), 1);
  EXPECT_EQ(received.at("first").at("Surname"), "Berg");
  EXPECT_EQ(names(), "Berg ");
  expectEndsWell(*watch);
}

TEST_F(WatchAndAnswer, ShowsACardAsText) {
  startReceivingPhone();
  const auto watch = startWatch({});
  pushAndWaitFor(*watch,
                 {card("Berg",
                       "TEL;CELL:5\r\nTEL;WORK;PREF:6\r\nEMAIL:b@example.org\r\nORG:Fjord;Sales\r\n"
                       "ADR:;;Street 1;Town;;12;Norway\r\n")});
  ASSERT_TRUE(watch->waitForOut("Norway")) << watch->out();
  EXPECT_EQ(watch->out(),
            "Waiting for cards. Press Ctrl-C to end.\n\n"
            "A card has come in:\n"
            "  name       Berg, Test\n"
            "  office     6  (default)\n"
            "  mobile     5\n"
            "  e-mail     b@example.org\n"
            "  company    Fjord, Sales\n"
            "  address    Street 1, Town, 12, Norway\n");
  expectEndsWell(*watch, SIGINT);
}

TEST_F(WatchAndAnswer, AcceptStoresEveryWaitingCard) {
  startReceivingPhone();
  const auto watch = startWatch({"--json"});
  pushAndWaitFor(*watch, {card("Berg"), card("Dahl")});
  EXPECT_EQ(waitForEvents(*watch, "accept", 2)[1].at("waiting"), 2);
  EXPECT_EQ(phonectl({"accept"}).out, "2 cards stored, the first is Berg, Test.\n");
  EXPECT_EQ(names(), "Berg Dahl ");
}

TEST_F(WatchAndAnswer, AcceptPrintsTheOutcomeAsJson) {
  startReceivingPhone();
  const auto watch = startWatch({"--json"});
  EXPECT_EQ(phonectl({"accept", "--json"}).out, "{\"event\":\"received\",\"count\":0}\n");
  pushAndWaitFor(*watch, {card("Berg")});
  const json outcome = json::parse(phonectl({"accept", "--json"}).out);
  EXPECT_EQ(outcome.at("count"), 1);
  EXPECT_EQ(outcome.at("first").at("Surname"), "Berg");
}

TEST_F(WatchAndAnswer, AcceptReportsThatNoCardWasWaiting) {
  startPhone();
  const Finished finished = phonectl({"accept"});
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.out, "No card was waiting; nothing was stored.\n");
}

TEST_F(WatchAndAnswer, RejectDiscardsEveryWaitingCard) {
  startReceivingPhone();
  const auto watch = startWatch({"--json"});
  pushAndWaitFor(*watch, {card("Berg"), card("Dahl")});
  const Finished rejected = phonectl({"reject"});
  EXPECT_EQ(rejected.exitCode, 0) << rejected.err;
  EXPECT_EQ(rejected.out, "All waiting cards were rejected.\n");
  EXPECT_EQ(phonectl({"accept"}).out, "No card was waiting; nothing was stored.\n");
  EXPECT_EQ(names(), "");
}

TEST_F(WatchAndAnswer, AcceptsEveryCardWithAccept) {
  startReceivingPhone();
  const auto watch = startWatch({"--json", "--accept"});
  push({card("Berg"), card("Dahl"), card("Ek")});
  EXPECT_TRUE(test::waitFor([&] { return names() == "Berg Dahl Ek "; })) << watch->out();
  expectEndsWell(*watch);
}

TEST_F(WatchAndAnswer, RejectsEveryCardWithReject) {
  startReceivingPhone();
  const auto watch = startWatch({"--json", "--reject"});
  push({card("Berg")});
  EXPECT_EQ(waitForEvents(*watch, "rejected")[0].at("count"), 1);
  EXPECT_EQ(phonectl({"accept"}).out, "No card was waiting; nothing was stored.\n");
  expectEndsWell(*watch);
}

TEST_F(WatchAndAnswer, ReadsAnswersFromAPipe) {
  startReceivingPhone();
  const auto watch = startWatch({"--ask"}, "n\nperhaps\ny\n");
  push({card("Berg")});
  ASSERT_TRUE(watch->waitForOut("1 card rejected.")) << watch->out();
  push({card("Dahl")});
  ASSERT_TRUE(watch->waitForOut("1 card stored: Dahl, Test.")) << watch->out();
  EXPECT_THAT(watch->out(), HasSubstr("Please answer y, n or l"));
  EXPECT_EQ(names(), "Dahl ");
  push({card("Ek")});
  ASSERT_TRUE(watch->waitForErr("standard input has ended")) << watch->out();
  EXPECT_EQ(phonectl({"accept"}).out, "1 card stored: Ek, Test.\n");
}

TEST_F(WatchAndAnswer, ReportsAnUnreadableCard) {
  startReceivingPhone();
  const auto programs = startWatch({"--json"});
  const auto people = startWatch({});
  push({"N:Berg;Test\r\n"});
  const json error = waitForEvents(*programs, "error")[0];
  EXPECT_EQ(error.at("reason"), "unreadable");
  EXPECT_EQ(error.at("count"), 1);
  EXPECT_TRUE(people->waitForOut("no readable card")) << people->out();
}

TEST_F(WatchAndAnswer, EscapesControlCharacters) {
  startReceivingPhone();
  const auto programs = startWatch({"--json"});
  const auto people = startWatch({});
  pushAndWaitFor(*people, {card("\x1b[31mRed\u202e\x9b", "TEL;CELL:\x1b]0;t\x07\xff\r\n")});
  ASSERT_TRUE(people->waitForOut("mobile")) << people->out();
  EXPECT_THAT(people->out(), HasSubstr("\\x1b[31mRed"));
  EXPECT_THAT(people->out(), HasSubstr("\\x1b]0;t\\x07\uFFFD"));
  const json offered = waitForEvents(*programs, "accept")[0];
  EXPECT_EQ(offered.at("card").at("Mobile"), "\x1b]0;t\x07\uFFFD");
  for (const std::string& out : {people->out(), programs->out()}) {
    EXPECT_THAT(out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(out, Not(HasSubstr("\x07")));
    EXPECT_THAT(out, Not(HasSubstr("\u009b")));
  }
}

TEST_F(WatchAndAnswer, ReportsCardsThatCouldNotBeStored) {
  startReceivingPhone();
  const auto watch = startWatch({"--json"});
  pushAndWaitFor(*watch, {card("Berg")});
  breakPhonebook();
  const Finished accepted = phonectl({"accept"});
  EXPECT_EQ(accepted.exitCode, 1) << accepted.out;
  EXPECT_THAT(accepted.err, HasSubstr("1 card could not be stored: Berg, Test."));
  const json error = waitForEvents(*watch, "error")[0];
  EXPECT_EQ(error.at("reason"), "not stored");
  EXPECT_EQ(error.at("first").at("Surname"), "Berg");
}

TEST_F(WatchAndAnswer, SubscribesAgainWhenThePhoneRestarts) {
  startReceivingPhone();
  const auto watch = startWatch({"--json"});
  pushAndWaitFor(*watch, {card("Berg")});
  killPhone();
  EXPECT_EQ(waitForEvents(*watch, "gone")[0].at("waiting"), 1);
  startReceivingPhone();
  waitForEvents(*watch, "watching", 2);
  pushAndWaitFor(*watch, {card("Dahl")}, 1);
  EXPECT_EQ(waitForEvents(*watch, "accept", 2)[1].at("waiting"), 1);
  expectEndsWell(*watch);
}

TEST_F(WatchAndAnswer, ReportsARestartAsText) {
  startReceivingPhone();
  const auto watch = startWatch({});
  pushAndWaitFor(*watch, {card("Berg")});
  killPhone();
  ASSERT_TRUE(watch->waitForOut("1 card waiting for an answer is lost")) << watch->out();
  startPhone();
  EXPECT_TRUE(watch->waitForOut("The phone is back.")) << watch->out();
}

TEST_F(WatchAndAnswer, EndsWhenTheBusGoesAway) {
  startPhone();
  const auto watch = startWatch({"--json"});
  killBus();
  EXPECT_EQ(watch->wait(), 4);
  EXPECT_THAT(watch->err(), HasSubstr("lost the connection to the bus at"));
}

TEST_F(WatchAndAnswer, EndsWhenTheOutputFails) {
  startPhone();
  const auto watch = startPhonectl({"watch", "--json"}, {.outFile = "/dev/full"});
  EXPECT_EQ(watch->wait(), 1);
  EXPECT_THAT(watch->err(), HasSubstr("can't write to standard output"));
}
