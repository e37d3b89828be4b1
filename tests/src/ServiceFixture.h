#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "framework/Context.h"
#include "framework/DirectoryServiceIfc.h"
#include "framework/Executable.h"
#include "framework/MobilityServiceIfc.h"
#include "src/OBEXService.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/WaitFor.h"

namespace test {

/// A peer service without anything to initialise.
class PeerService : public Executable {
 public:
  void init(Context&) override {}
  void shutdown() override {}
};

/// Answers requests with what it was told, "<ok/>" when there is nothing more, and keeps them.
class RecordingDirectory : public PeerService, public DirectoryServiceIfc {
 public:
  std::string handleRequest(const std::string& request) override {
    if (onRequest) onRequest(request);
    const std::lock_guard lock(m_mutex);
    requests.push_back(request);
    if (answers.empty()) return "<ok/>";
    std::string answer = answers.front();
    answers.pop_front();
    return answer;
  }

  std::deque<std::string> answers;
  std::vector<std::string> requests;
  std::function<void(const std::string&)> onRequest;

 private:
  std::mutex m_mutex;
};

class RecordingMobility : public PeerService, public MobilityServiceIfc {
 public:
  bool registerFile(const std::string& path) override {
    paths.push_back(path);
    return false;  // the service doesn't look at it
  }

  std::vector<std::string> paths;
};

class PhoneContext : public Context {
 public:
  Executable* getService(const std::string& name) override {
    lookups.push_back(name);
    const auto found = services.find(name);
    return found == services.end() ? nullptr : found->second;
  }

  std::map<std::string, Executable*> services;
  std::vector<std::string> lookups;
};

/// Keeps every call as a text: "vCardReceived(first, 2)".
class RecordingObserver final : public OBEXServiceObserverIfc {
 public:
  void vCardReceived(const std::string& vcard, int count) override {
    record("vCardReceived(" + vcard + ", " + std::to_string(count) + ")");
  }
  void vCardError(const std::string& error, int count) override {
    record("vCardError(" + error + ", " + std::to_string(count) + ")");
  }
  void vCardDestRequest(const std::string& info) override {
    record("vCardDestRequest(" + info + ")");
  }
  void vCardSendSucc(const std::string& info) override { record("vCardSendSucc(" + info + ")"); }
  void vCardSendErr(const std::string& info, const std::string& bda, int channel) override {
    record("vCardSendErr(" + info + ", " + bda + ", " + std::to_string(channel) + ")");
  }
  void vCardAccept(const std::string& vcard) override { record("vCardAccept(" + vcard + ")"); }

  std::vector<std::string> calls() const {
    const std::lock_guard lock(m_mutex);
    return m_calls;
  }

  /// Called with each text, before it is kept.
  std::function<void(const std::string&)> onCall;

 private:
  void record(const std::string& call) {
    if (onCall) onCall(call);
    const std::lock_guard lock(m_mutex);
    m_calls.push_back(call);
  }

  mutable std::mutex m_mutex;
  std::vector<std::string> m_calls;
};

/// A service among recording peers.
class ServiceTest : public ::testing::Test {
 protected:
  ServiceTest() {
    context.services = {{"DirectoryServiceIfc", &directory}, {"MobilityServiceIfc", &mobility}};
  }

  void Init() { service.init(context); }
  void InitAndSubscribe() {
    Init();
    service.subscribe(&observer);
  }
  void ExpectCalls(const std::vector<std::string>& calls) { EXPECT_EQ(observer.calls(), calls); }

  RecordingDirectory directory;
  RecordingMobility mobility;
  PhoneContext context;
  RecordingObserver observer;
  OBEXService service;
};

}  // namespace test
