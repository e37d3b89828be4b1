#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/tools/Program.h"

namespace test {

/// The telephone as users run it: a private bus, phone-host with the real service on the virtual
/// radio, and phonectl. Cards are pushed by obexput.
class PhoneFixture : public testing::Test {
 protected:
  PhoneFixture();
  ~PhoneFixture() override;

  void SetUp() override { startBus(); }
  void TearDown() override;

  void startBus();
  /// Kills the bus.
  void killBus();

  enum class Radio { Virtual, None };
  /// Returns when the phone is on the bus, with receiving off.
  void startPhone(Radio radio = Radio::Virtual);
  /// With receiving switched on.
  void startReceivingPhone();
  /// Stops it with SIGTERM and checks its exit code.
  void stopPhone();
  /// Kills it with SIGKILL.
  void killPhone();

  /// Runs phonectl on the test's bus.
  Finished phonectl(const Program::Words& words, const std::string& input = "");
  /// Starts phonectl in the background.
  std::unique_ptr<Program> startPhonectl(const Program::Words& words,
                                         Program::Options options = {});
  /// `phonectl watch`, subscribed.
  std::unique_ptr<Program> startWatch(const Program::Words& options, const std::string& input = "");

  /// Pushes objects over one link.
  void push(const std::vector<std::string>& cards);
  /// A small card.
  static std::string card(const std::string& surname, const std::string& lines = "");
  /// Pushes cards and waits until `watch`, which has shown `before` cards so far, shows them.
  void pushAndWaitFor(Program& watch, const std::vector<std::string>& cards, int before = 0);

  static constexpr const char* kPeerAddress = "66:77:88:99:AA:BB";
  static constexpr int kPeerChannel = 9;
  /// Another device (obex_test) that accepts one link and stores what is pushed. Returns when it
  /// listens.
  std::unique_ptr<Program> startReceiver();
  /// A file that it received.
  std::string received(const std::string& name) const;

  /// Makes every write to the phonebook fail.
  void breakPhonebook() const;

  const TestFolder& folder() const { return m_folder; }
  Program& phone() { return *m_phone; }
  std::string busAddress() const { return "unix:path=" + m_folder.file("bus"); }
  Program::Options options() const;

 private:
  Program::Words onRadio(const std::string& address) const;
  bool peerListens() const;

  const TestFolder m_folder;
  std::unique_ptr<Program> m_bus;
  std::unique_ptr<Program> m_phone;
  int m_started = 0;
};

}  // namespace test
