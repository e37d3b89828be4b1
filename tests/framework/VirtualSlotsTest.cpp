// The order of virtual functions is a binary interface: services are built separately, and in them
// a call would end up in another function if a slot moved.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "framework/Executable.h"
#include "framework/Invoker.h"
#include "framework/Proxy.h"
#include "framework/Service.h"
#include "framework/Threadable.h"

namespace {

// Returns the slot of a virtual function; slots 0 and 1 are the destructors. In the Itanium C++ ABI
// a pointer to a virtual member function is a pair of numbers that contains the slot.
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

TEST(VirtualSlotsTest, KeepsTheSlotsOfExecutable) {
  EXPECT_EQ(slotOf(&Executable::init), 2u);
  EXPECT_EQ(slotOf(&Executable::shutdown), 3u);
  EXPECT_EQ(slotOf(&Executable::timerEvent), 4u);
}

TEST(VirtualSlotsTest, KeepsTheSlotsOfThreadable) {
  EXPECT_EQ(slotOf(&Threadable::run), 2u);
  EXPECT_EQ(slotOf(&Threadable::getThreadPriorityForPlatform), 3u);
  EXPECT_EQ(slotOf(&Threadable::type), 4u);
}

TEST(VirtualSlotsTest, KeepsTheSlotsOfService) {
  EXPECT_EQ(slotOf(&Service::init), 2u);
  EXPECT_EQ(slotOf(&Service::shutdown), 3u);
  EXPECT_EQ(slotOf(&Service::timerEvent), 4u);
  EXPECT_EQ(slotOf(&Service::handleMsg), 5u);
}

TEST(VirtualSlotsTest, KeepsTheSlotsOfInvoker) {
  EXPECT_EQ(slotOf(&Invoker::handleMessage), 2u);
  EXPECT_EQ(slotOf(&Invoker::initInvoker), 3u);
}

TEST(VirtualSlotsTest, KeepsTheSlotsOfProxy) {
  EXPECT_EQ(slotOf(&Proxy::init), 2u);
  EXPECT_EQ(slotOf(&Proxy::shutdown), 3u);
  EXPECT_EQ(slotOf(&Proxy::timerEvent), 4u);
  EXPECT_EQ(slotOf(&Proxy::initProxy), 5u);
}

// The framework deletes services through their bases, `Executable` first, then `Threadable`.
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

TEST(VirtualSlotsTest, DeletesAServiceThroughEitherBase) {
  int deleted = 0;
  Executable* const executable = new RecordingService(deleted);
  delete executable;
  Threadable* const threadable = new RecordingService(deleted);
  delete threadable;
  EXPECT_EQ(deleted, 2);
}

TEST(VirtualSlotsTest, PutsExecutableFirstInAService) {
  int deleted = 0;
  RecordingService service(deleted);
  EXPECT_EQ(static_cast<void*>(static_cast<Executable*>(&service)), static_cast<void*>(&service));
  EXPECT_NE(static_cast<void*>(static_cast<Threadable*>(&service)), static_cast<void*>(&service));
}

}  // namespace
