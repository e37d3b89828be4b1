#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/tools/Program.h"

namespace test {

/// The telephone as its users run it: a bus of the test's own, phone-host with the real service on
/// the virtual radio, and phonectl. Cards are pushed by a program that knows nothing of all this.
class PhoneFixture : public testing::Test {
 protected:
  PhoneFixture();
  ~PhoneFixture() override;

  void SetUp() override { startBus(); }
  void TearDown() override;

  void startBus();
  /// Ends the bus under everyone's feet.
  void killBus();

  enum class Radio { Virtual, None };
  /// Returns when the phone is on the bus; receiving is off then.
  void startPhone(Radio radio = Radio::Virtual);
  /// With receiving switched on.
  void startReceivingPhone();
  /// Ends it as the system would and checks that it ended well.
  void stopPhone();
  /// Ends it without a chance to say anything.
  void killPhone();

  /// Runs phonectl on the test's bus to its end.
  Finished phonectl(const Program::Words& words, const std::string& input = "");
  /// Starts it and leaves it running.
  std::unique_ptr<Program> startPhonectl(const Program::Words& words,
                                         Program::Options options = {});
  /// `phonectl watch`, subscribed.
  std::unique_ptr<Program> startWatch(const Program::Words& options, const std::string& input = "");

  /// Pushes objects over the radio, all over one link.
  void push(const std::vector<std::string>& cards);
  /// A small card.
  static std::string card(const std::string& surname, const std::string& lines = "");
  /// Pushes and waits until the phone has offered them to this watch, which has seen `before` so
  /// far.
  void pushAndWaitFor(Program& watch, const std::vector<std::string>& cards, int before = 0);

  static constexpr const char* kPeerAddress = "66:77:88:99:AA:BB";
  static constexpr int kPeerChannel = 9;
  /// Another device that takes one link and stores what is pushed over it, a program that knows
  /// nothing of all this. Returns when it listens.
  std::unique_ptr<Program> startReceiver();
  /// What it has received under this name.
  std::string received(const std::string& name) const;

  /// From now on nothing can be stored.
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
