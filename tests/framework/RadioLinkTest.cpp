#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "Waiting.h"
#include "framework/RadioLinkIfc.h"

namespace {

class RecordingLink : public RadioLinkIfc {
 public:
  ~RecordingLink() override { EXPECT_EQ(m_inside, 0) << "deleted during a call"; }
  void linkListening(int channel) override { m_heard += "listening " + std::to_string(channel); }
  void linkStopped() override {
    ++m_inside;
    std::this_thread::yield();
    --m_inside;
  }
  bool linkAccepted(const std::string& address) override { return address == "friend"; }
  void linkObject(const std::string&, std::size_t) override {}
  void linkAnswered(int, int) override {}
  void linkClosed(const std::string& reason) override { m_heard += reason; }

  [[nodiscard]] const std::string& heard() const { return m_heard; }

 private:
  std::string m_heard;
  std::atomic<int> m_inside = 0;
};

class RadioLinkTest : public testing::Test {
 protected:
  ~RadioLinkTest() override { setRadioLink(nullptr); }
};

TEST_F(RadioLinkTest, GivesNoAccessWithoutAnObserver) {
  RadioLinkAccess link;
  EXPECT_FALSE(link);
}

TEST_F(RadioLinkTest, CallsTheObserverThroughAnAccess) {
  RecordingLink observer;
  setRadioLink(&observer);
  if (RadioLinkAccess link; link) link->linkListening(4);
  EXPECT_EQ(observer.heard(), "listening 4");
  setRadioLink(nullptr);
}

TEST_F(RadioLinkTest, ReturnsTheObserversAnswer) {
  RecordingLink observer;
  setRadioLink(&observer);
  EXPECT_TRUE(RadioLinkAccess()->linkAccepted("friend"));
  EXPECT_FALSE(RadioLinkAccess()->linkAccepted("stranger"));
  setRadioLink(nullptr);
}

TEST_F(RadioLinkTest, GivesNoAccessOnceTheObserverIsUnset) {
  RecordingLink observer;
  setRadioLink(&observer);
  setRadioLink(nullptr);
  EXPECT_FALSE(RadioLinkAccess());
}

TEST_F(RadioLinkTest, ReplacesTheObserver) {
  RecordingLink first;
  RecordingLink second;
  setRadioLink(&first);
  setRadioLink(&second);
  RadioLinkAccess()->linkClosed("gone");
  setRadioLink(nullptr);
  EXPECT_EQ(first.heard(), "");
  EXPECT_EQ(second.heard(), "gone");
}

TEST_F(RadioLinkTest, WaitsForAnAccessBeforeUnsettingTheObserver) {
  RecordingLink observer;
  setRadioLink(&observer);
  auto access = std::make_unique<RadioLinkAccess>();
  auto taking = std::async(std::launch::async, [] { setRadioLink(nullptr); });
  EXPECT_EQ(taking.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  EXPECT_TRUE(*access);
  access.reset();
  EXPECT_EQ(taking.wait_for(waiting::kDeadline), std::future_status::ready);
}

TEST_F(RadioLinkTest, AllowsDeletingTheObserverOnceItIsUnset) {
  std::atomic<bool> over = false;
  std::thread server([&] {
    while (!over) {
      if (RadioLinkAccess link; link) link->linkStopped();
    }
  });
  for (int round = 0; round < 200; ++round) {
    auto observer = std::make_unique<RecordingLink>();
    setRadioLink(observer.get());
    std::this_thread::yield();
    setRadioLink(nullptr);
  }
  over = true;
  server.join();
}

}  // namespace
