#include "framework/Service.h"

#include <gtest/gtest.h>

#include "framework/CommsChannelDataContainerMessage.h"

namespace {

class Channel : public CommsChannelIfc {
 public:
  int write(const char*, int length) override {
    ++writes;
    return length;
  }
  int writes = 0;
};

class PlainService : public Service {
 public:
  void init(Context&) override { ++calls; }
  void shutdown() override { ++calls; }
  void run() override { ++calls; }
  int calls = 0;
};

TEST(ServiceTest, ARawMessageDoesNothingUnlessOverridden) {
  PlainService service;
  Channel channel;
  CommsChannelDataContainerMessage container{"data"};
  service.handleMsg("text", 4, "sender", channel, &container);
  service.handleMsg(nullptr, 0, "", channel, nullptr);
  EXPECT_EQ(service.calls, 0);
  EXPECT_EQ(channel.writes, 0);
  EXPECT_EQ(container.data, "data");
}

TEST(ServiceTest, ATimerDoesNothingUnlessOverridden) {
  PlainService service;
  service.timerEvent(1);
  EXPECT_EQ(service.calls, 0);
}

}  // namespace
