// The service on the real framework: its threads, its locks, and the files that it writes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "framework/Context.h"
#include "framework/DirectoryServiceIfc.h"
#include "framework/Storage.h"
#include "src/OBEXService.h"
#include "tests/openobex/FakeOpenObex.h"
#include "tests/support/LogRecorder.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Observer final : public OBEXServiceObserverIfc {
 public:
  void vCardReceived(const std::string& vcard, int) override { called("received " + vcard); }
  void vCardError(const std::string&, int) override { called("error"); }
  void vCardDestRequest(const std::string&) override {}
  void vCardSendSucc(const std::string& info) override { called("sent " + info); }
  void vCardSendErr(const std::string&, const std::string&, int) override { called("not sent"); }
  void vCardAccept(const std::string& vcard) override { called("accept " + vcard); }

  std::vector<std::string> calls() const {
    const std::lock_guard lock(m_mutex);
    return m_calls;
  }
  std::function<void(const std::string&)> onCall;

 private:
  void called(const std::string& call) {
    if (onCall) onCall(call);
    const std::lock_guard lock(m_mutex);
    m_calls.push_back(call);
  }

  mutable std::mutex m_mutex;
  std::vector<std::string> m_calls;
};

class Directory : public Executable, public DirectoryServiceIfc {
 public:
  void init(Context&) override {}
  void shutdown() override {}
  std::string handleRequest(const std::string& request) override {
    if (onRequest) onRequest(request);
    return "<ok/>";
  }

  std::function<void(const std::string&)> onRequest;
};

class DirectoryContext : public Context {
 public:
  Executable* getService(const std::string& name) override {
    return name == "DirectoryServiceIfc" ? &directory : nullptr;
  }

  Directory directory;
};

class ServiceThreads : public ::testing::Test {
 protected:
  ServiceThreads() {
    service.init(context);
    service.subscribe(&observer);
  }

  LogRecorder log;  // outlives the threads
  openobex::fake::FakeOpenObex obex;
  DirectoryContext context;
  Observer observer;
  OBEXService service;
};

TEST_F(ServiceThreads, ReceiveOnTheServersThreadUntilItIsSwitchedOff) {
  obex.server().request(OBEX_CMD_PUT, {openobex::fake::bodyHeader("N:no card\n")});
  std::thread::id thread;
  observer.onCall = [&](const std::string&) { thread = std::this_thread::get_id(); };
  service.OBEXServerEnable(true);
  EXPECT_TRUE(obex.server().waitUntilTaken());
  service.OBEXServerEnable(false);
  EXPECT_THAT(observer.calls(), ElementsAre("error"));
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(log.count("\tterminating server."), 1);
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(ServiceThreads, EndWithTheService) {
  {
    OBEXService another;
    another.OBEXServerEnable(true);
    EXPECT_TRUE(obex.waitForCalls("OBEX_HandleInput"));
  }
  EXPECT_EQ(log.count("\tterminating server."), 1);
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(ServiceThreads, RestartTheServer) {
  for (int i = 1; i <= 2; ++i) {
    service.OBEXServerEnable(true);
    EXPECT_TRUE(obex.waitForCalls("BtOBEX_ServerRegister", i));
    service.OBEXServerEnable(false);
  }
  EXPECT_EQ(obex.liveHandles(), 0);
}

TEST_F(ServiceThreads, SendOnTheSendersThreadAndWaitForIt) {
  obex.client().answer(0x20).answer(0x20).answer(0x20);
  obex_phonebook_data_t contact;
  contact.surname = "Berg";
  service.sendContact(contact);
  service.sendVCard("00:11:22:33:44:55", 9);
  EXPECT_THAT(observer.calls(), ElementsAre("sent ", "sent Berg"));
}

TEST_F(ServiceThreads, PutACardThatArrivesDuringABatchIntoTheNextOne) {
  std::thread arriving;
  std::atomic<bool> arrived = false;
  context.directory.onRequest = [&](const std::string& request) {
    if (request != "first" || arriving.joinable()) return;
    arriving = std::thread([&] {
      service.forwardVCard("late");
      arrived = true;
    });
  };
  observer.onCall = [&](const std::string& call) {
    const bool isTooEarly = call == "received first" && arrived;
    EXPECT_FALSE(isTooEarly);
  };
  service.forwardVCard("first");
  service.vCardsAccepted();
  arriving.join();
  service.vCardsAccepted();
  EXPECT_THAT(observer.calls(),
              ElementsAre("accept first", "received first", "accept late", "received late"));
}

TEST_F(ServiceThreads, SubscribeAfterARoundOfNotifications) {
  Observer other;
  std::thread subscribing;
  std::atomic<bool> subscribed = false;
  observer.onCall = [&](const std::string&) {
    subscribing = std::thread([&] {
      service.subscribe(&other);
      subscribed = true;
    });
    std::this_thread::yield();
    EXPECT_FALSE(subscribed);
  };
  service.errorVCard("");
  subscribing.join();
  EXPECT_THAT(other.calls(), IsEmpty());
}

class PhotoFile : public ServiceThreads {
 protected:
  ~PhotoFile() override { std::filesystem::remove(path); }

  std::string content() {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
  }

  const std::string path =
      std::string(Storage::defaultRoot()) + "/photoServiceTest" + std::to_string(getpid()) + ".jpg";
};

TEST_F(PhotoFile, IsWrittenWithAllItsBytes) {
  EXPECT_EQ(service.writeFile("J\0PG", 4, path), 1);
  EXPECT_EQ(content(), std::string("J\0PG", 4));
}

TEST_F(PhotoFile, IsRefusedOutsideTheImagesFolder) {
  EXPECT_EQ(service.writeFile("JPG", 3, "/tmp/photo.jpg"), 0);
  EXPECT_EQ(service.writeFile("JPG", 3, "/data/images/../photo.jpg"), 0);
}

TEST_F(PhotoFile, IsNotLeftBehindWhenItCannotBeStored) {
  EXPECT_EQ(service.writeFile("JPG", -1, path), 0);
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace test
