// The order of virtual functions is the contract between the telephone and services that were built
// apart from it: a slot that moves makes one call another.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "framework/Executable.h"
#include "framework/Invoker.h"
#include "framework/Proxy.h"
#include "framework/Service.h"
#include "framework/Threadable.h"

namespace {

// The slot of a virtual function, the two destructors' being 0 and 1. A pointer to a virtual member
// function is, in the ABI of all Linux platforms, a pair of numbers that tells it.
template <typename Function>
std::size_t slotOf(Function function) {
  struct {
    std::size_t pointer;
    std::size_t adjustment;
  } parts;
  static_assert(sizeof parts == sizeof function);
  std::memcpy(&parts, &function, sizeof parts);
#if defined(__arm__) || defined(__aarch64__)
  EXPECT_EQ(parts.adjustment & 1, 1u) << "not virtual";
  return parts.pointer / sizeof(void*);
#else
  EXPECT_EQ(parts.pointer & 1, 1u) << "not virtual";
  return (parts.pointer - 1) / sizeof(void*);
#endif
}

TEST(VirtualSlotsTest, Executable) {
  EXPECT_EQ(slotOf(&Executable::init), 2u);
  EXPECT_EQ(slotOf(&Executable::shutdown), 3u);
  EXPECT_EQ(slotOf(&Executable::timerEvent), 4u);
}

TEST(VirtualSlotsTest, Threadable) {
  EXPECT_EQ(slotOf(&Threadable::run), 2u);
  EXPECT_EQ(slotOf(&Threadable::getThreadPriorityForPlatform), 3u);
  EXPECT_EQ(slotOf(&Threadable::type), 4u);
}

TEST(VirtualSlotsTest, Service) {
  EXPECT_EQ(slotOf(&Service::init), 2u);
  EXPECT_EQ(slotOf(&Service::shutdown), 3u);
  EXPECT_EQ(slotOf(&Service::timerEvent), 4u);
  EXPECT_EQ(slotOf(&Service::handleMsg), 5u);
}

TEST(VirtualSlotsTest, Invoker) {
  EXPECT_EQ(slotOf(&Invoker::handleMessage), 2u);
  EXPECT_EQ(slotOf(&Invoker::initInvoker), 3u);
}

TEST(VirtualSlotsTest, Proxy) {
  EXPECT_EQ(slotOf(&Proxy::init), 2u);
  EXPECT_EQ(slotOf(&Proxy::shutdown), 3u);
  EXPECT_EQ(slotOf(&Proxy::timerEvent), 4u);
  EXPECT_EQ(slotOf(&Proxy::initProxy), 5u);
}

// The two primary slots of a table are its destructors, so that the framework can delete an object
// whose class it doesn't know; `Executable` comes first in a service, `Threadable` behind it.
class RecordingService : public Service {
 public:
  explicit RecordingService(int& deleted) : m_deleted(deleted) {}
  ~RecordingService() override { ++m_deleted; }
  void init(Context&) override {}
  void shutdown() override {}
  void run() override {}

 private:
  int& m_deleted;
};

TEST(VirtualSlotsTest, AServiceIsDeletedWholeThroughEitherBase) {
  int deleted = 0;
  Executable* const executable = new RecordingService(deleted);
  delete executable;
  Threadable* const threadable = new RecordingService(deleted);
  delete threadable;
  EXPECT_EQ(deleted, 2);
}

TEST(VirtualSlotsTest, AServiceBeginsWithItsExecutable) {
  int deleted = 0;
  RecordingService service(deleted);
  EXPECT_EQ(static_cast<void*>(static_cast<Executable*>(&service)), static_cast<void*>(&service));
  EXPECT_NE(static_cast<void*>(static_cast<Threadable*>(&service)), static_cast<void*>(&service));
}

}  // namespace
