#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "framework/Context.h"
#include "framework/DirectoryServiceIfc.h"
#include "framework/Executable.h"
#include "framework/MobilityServiceIfc.h"
#include "src/OBEXService.h"
#include "tests/openobex/FakeOpenObex.h"
#include "tests/src/Recording.h"

namespace test {

/// A peer service without anything to initialise.
class PeerService : public Executable {
 public:
  void init(Context&) override {}
  void shutdown() override {}
};

/// Gives the prepared answers, then "<ok/>". Recorded as "directory read" and "directory write
/// MESSAGE".
class FakeDirectory : public PeerService, public DirectoryServiceIfc {
 public:
  std::string handleRequest(const std::string& request) override {
    const bool reads = request.find("read_request") != std::string::npos;
    Recording::add(reads ? "directory read" : "directory write " + request);
    requests.push_back(request);
    if (answers.empty()) return "<ok/>";
    std::string answer = answers.front();
    answers.pop_front();
    return answer;
  }

  std::deque<std::string> answers;
  std::vector<std::string> requests;
};

class FakeMobility : public PeerService, public MobilityServiceIfc {
 public:
  bool registerFile(const std::string& path) override {
    Recording::add("registerFile " + path);
    return false;  // ignored by the service
  }
};

class FakeContext : public Context {
 public:
  Executable* getService(const std::string& name) override {
    Recording::add("getService " + name);
    const auto found = services.find(name);
    return found == services.end() ? nullptr : found->second;
  }

  std::map<std::string, Executable*> services;
};

/// Recorded as "vCardReceived(first, 2)", behind its own name if it has one.
class FakeObserver final : public OBEXServiceObserverIfc {
 public:
  explicit FakeObserver(std::string name = "") : m_name(std::move(name)) {}

  void vCardReceived(const std::string& vcard, int count) override {
    called("vCardReceived(" + vcard + ", " + std::to_string(count) + ")");
  }
  void vCardError(const std::string& error, int count) override {
    called("vCardError(" + error + ", " + std::to_string(count) + ")");
  }
  void vCardDestRequest(const std::string& info) override {
    called("vCardDestRequest(" + info + ")");
  }
  void vCardSendSucc(const std::string& info) override { called("vCardSendSucc(" + info + ")"); }
  void vCardSendErr(const std::string& info, const std::string& bda, int channel) override {
    called("vCardSendErr(" + info + ", " + bda + ", " + std::to_string(channel) + ")");
  }
  void vCardAccept(const std::string& vcard) override { called("vCardAccept(" + vcard + ")"); }

  std::vector<std::string> calls;
  /// Called inside each call.
  std::function<void()> onCall;

 private:
  void called(const std::string& call) {
    Recording::add(m_name.empty() ? call : m_name + " " + call);
    calls.push_back(call);
    if (onCall) onCall();
  }

  const std::string m_name;
};

/// A service on the recording framework, among fakes of everything that it calls.
class ServiceTest : public ::testing::Test {
 protected:
  /// `source` is the file whose trace lines stand for themselves.
  explicit ServiceTest(std::string source = "OBEXService") : recording(std::move(source)) {
    recording.listenTo(obex);
    context.services = {{"DirectoryServiceIfc", &directory}, {"MobilityServiceIfc", &mobility}};
  }

  void init() {
    service.init(context);
    recording.forget();
  }
  void initAndSubscribe() {
    service.init(context);
    service.subscribe(&observer);
    recording.forget();
  }
  /// Another observer, behind the first.
  void subscribeSecond() {
    service.subscribe(&second);
    recording.forget();
  }

  Recording recording;
  openobex::fake::FakeOpenObex obex;
  FakeDirectory directory;
  FakeMobility mobility;
  FakeContext context;
  FakeObserver observer;
  FakeObserver second{"second"};
  OBEXService service;
};

}  // namespace test
