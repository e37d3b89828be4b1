#include "host/bus/WorkQueue.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using host::ServiceCall;
using host::WorkQueue;

class WorkQueueTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { Gio::init(); }
  /// A call with a body of about this size. It expects no reply, so it needs no connection.
  static std::unique_ptr<ServiceCall> makeCall(const std::string& member, std::size_t size = 0) {
    const auto message = Gio::DBus::Message::create_method_call("org.x", "/", "org.x", member);
    message->set_flags(Gio::DBus::MessageFlags::NO_REPLY_EXPECTED);
    if (size != 0) {
      const std::string text(size, 'x');
      g_dbus_message_set_body(message->gobj(), g_variant_new("(s)", text.c_str()));
    }
    return std::make_unique<ServiceCall>(nullptr, message);
  }
  bool offer(const std::string& member, std::size_t size = 0) {
    auto call = makeCall(member, size);
    return m_queue.offer(call);
  }
  std::string takeMember() {
    const WorkQueue::Work work = m_queue.take();
    return work.call ? work.call->member() : "none";
  }

  WorkQueue m_queue;
};

TEST_F(WorkQueueTest, IsFirstInFirstOut) {
  std::string trace;
  offer("a");
  m_queue.push([&trace] { trace = "ran"; });
  offer("b");
  EXPECT_EQ(takeMember(), "a");
  m_queue.take().task();
  EXPECT_EQ(trace, "ran");
  EXPECT_EQ(takeMember(), "b");
}

TEST_F(WorkQueueTest, RefusesACallWhenFullAndLeavesItToTheCaller) {
  for (std::size_t i = 0; i < WorkQueue::kMaxCalls; ++i) ASSERT_TRUE(offer("a"));
  auto call = makeCall("late");
  EXPECT_FALSE(m_queue.offer(call));
  ASSERT_NE(call, nullptr);
  EXPECT_EQ(call->member(), "late");
  EXPECT_EQ(m_queue.waitingCalls(), WorkQueue::kMaxCalls);
}

TEST_F(WorkQueueTest, AcceptsCallsAgainWhenThereIsRoom) {
  for (std::size_t i = 0; i < WorkQueue::kMaxCalls; ++i) offer("a");
  EXPECT_FALSE(offer("b"));
  takeMember();
  EXPECT_TRUE(offer("b"));
}

TEST_F(WorkQueueTest, NeverRefusesTasks) {
  for (std::size_t i = 0; i < WorkQueue::kMaxCalls; ++i) offer("a");
  m_queue.push([] {});
  for (std::size_t i = 0; i < WorkQueue::kMaxCalls; ++i) takeMember();
  EXPECT_TRUE(static_cast<bool>(m_queue.take().task));
}

TEST_F(WorkQueueTest, AcceptsOneCallAboveTheByteLimit) {
  EXPECT_TRUE(offer("large", WorkQueue::kMaxBytes + 1));
  EXPECT_FALSE(offer("small", 1));
  EXPECT_EQ(takeMember(), "large");
  EXPECT_TRUE(offer("small", 1));
}

TEST_F(WorkQueueTest, LimitsTheBytesThatWait) {
  EXPECT_TRUE(offer("half", WorkQueue::kMaxBytes / 2));
  EXPECT_TRUE(offer("less", WorkQueue::kMaxBytes / 2 - 100));
  EXPECT_FALSE(offer("more", 1000));
  EXPECT_TRUE(offer("none"));
}

TEST_F(WorkQueueTest, LetsACallHoldWhatItsObserverReturns) {
  const auto held = std::make_shared<int>(0);
  WorkQueue queue([&](const ServiceCall& call) { return call.member() == "a" ? held : nullptr; });
  for (const char* member : {"a", "b", "a"}) {
    auto call = makeCall(member);
    queue.offer(call);
  }
  EXPECT_EQ(held.use_count(), 3);
  { const WorkQueue::Work work = queue.take(); }
  EXPECT_EQ(held.use_count(), 2);
  queue.close();
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(WorkQueueTest, WakesAWaitingThreadWhenClosed) {
  WorkQueue::Work work;
  std::thread waiting([&] { work = m_queue.take(); });
  m_queue.close();
  waiting.join();
  EXPECT_EQ(work.call, nullptr);
  EXPECT_FALSE(static_cast<bool>(work.task));
}

TEST_F(WorkQueueTest, IsEmptyAndRefusesWorkWhenClosed) {
  offer("waiting");
  m_queue.close();
  EXPECT_EQ(m_queue.waitingCalls(), 0U);
  EXPECT_FALSE(offer("late"));
  m_queue.push([] { FAIL(); });
  EXPECT_EQ(takeMember(), "none");
}

}  // namespace
