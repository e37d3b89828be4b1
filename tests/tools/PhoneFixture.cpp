#include "tests/tools/PhoneFixture.h"

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/support/WaitFor.h"

namespace test {

namespace {

constexpr const char* kPhoneAddress = "00:11:22:33:44:55";

/// obexput's word for success.
constexpr int kPushed = 255;

constexpr const char* kBusConfiguration =
    "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
    " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
    "<busconfig><type>session</type><auth>EXTERNAL</auth><policy context=\"default\">"
    "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
    "<allow own=\"*\"/></policy><listen>";

}  // namespace

PhoneFixture::PhoneFixture() = default;
PhoneFixture::~PhoneFixture() = default;

void PhoneFixture::startBus() {
  const std::string configuration = folder().write(
      "bus.conf", std::string(kBusConfiguration) + busAddress() + "</listen></busconfig>\n");
  m_bus = std::make_unique<Program>(folder(), "bus",
                                    Program::Words{"dbus-daemon", "--config-file=" + configuration,
                                                   "--nofork", "--print-address"},
                                    Program::Options{});
  ASSERT_TRUE(m_bus->waitForOut("unix:path=")) << m_bus->err();
}

void PhoneFixture::killBus() {
  m_bus->signal(SIGKILL);
  m_bus->wait();
}

void PhoneFixture::TearDown() {
  if (m_phone && m_phone->running()) stopPhone();
}

Program::Words PhoneFixture::onRadio(const std::string& address) const {
  return {VIRTUAL_RADIO, "--address", address, "--dir", folder().path(), "--"};
}

Program::Options PhoneFixture::options() const {
  Program::Options options;
  options.environment["XDG_STATE_HOME"] = folder().file("state");
  options.environment["PHONE_BUS"] = busAddress();
  return options;
}

void PhoneFixture::startPhone(Radio radio) {
  Program::Words words = radio == Radio::Virtual ? onRadio(kPhoneAddress) : Program::Words{};
  for (const std::string& word : {std::string(PHONE_HOST), std::string("--bus"), busAddress()}) {
    words.push_back(word);
  }
  m_phone =
      std::make_unique<Program>(folder(), "phone" + std::to_string(++m_started), words, options());
  ASSERT_TRUE(m_phone->waitForOut("phone-host: ready")) << m_phone->err();
}

void PhoneFixture::startReceivingPhone() {
  startPhone();
  const Finished on = phonectl({"receive", "on"});
  ASSERT_EQ(on.exitCode, 0) << on.err;
  ASSERT_TRUE(phone().waitForOut("OBEX SERVER IS RUNNING")) << phone().err();
}

void PhoneFixture::stopPhone() {
  m_phone->signal(SIGTERM);
  const int exitCode = m_phone->wait();
  // 3: stopped on request while the service was waiting for a missing radio.
  EXPECT_TRUE(exitCode == 0 || exitCode == 3) << exitCode << "\n" << m_phone->err();
  EXPECT_EQ(m_phone->err().find("Sanitizer"), std::string::npos) << m_phone->err();
}

void PhoneFixture::killPhone() {
  m_phone->signal(SIGKILL);
  m_phone->wait();
}

Finished PhoneFixture::phonectl(const Program::Words& words, const std::string& input) {
  Program::Options with = options();
  with.input = input;
  const auto program = startPhonectl(words, with);
  const int exitCode = program->wait();
  return {exitCode, program->out(), program->err()};
}

std::unique_ptr<Program> PhoneFixture::startPhonectl(const Program::Words& words,
                                                     Program::Options with) {
  Program::Words all{PHONECTL};
  all.insert(all.end(), words.begin(), words.end());
  with.environment.merge(options().environment);
  return std::make_unique<Program>(folder(), "phonectl" + std::to_string(++m_started), all, with);
}

std::unique_ptr<Program> PhoneFixture::startWatch(const Program::Words& options,
                                                  const std::string& input) {
  Program::Words words{"watch"};
  words.insert(words.end(), options.begin(), options.end());
  Program::Options with;
  with.input = input;
  auto watch = startPhonectl(words, with);
  waitFor([&] {
    return !watch->running() || watch->out().find("aiting for cards") != std::string::npos ||
           watch->out().find("\"watching\"") != std::string::npos;
  });
  EXPECT_TRUE(watch->running()) << watch->err();
  return watch;
}

void PhoneFixture::push(const std::vector<std::string>& cards) {
  Program::Words words = onRadio(kPeerAddress);
  for (const char* word :
       {"obexput", "-b", kPhoneAddress, "-B", "4", "-U", "none", "-H", "-S", "-p"}) {
    words.push_back(word);
  }
  for (std::size_t i = 0; i < cards.size(); ++i) {
    words.push_back(folder().write("card" + std::to_string(i) + ".vcf", cards[i]));
  }
  // After a peer leaves, the server reopens its socket and refuses connections meanwhile.
  Finished pushed{};
  const bool reached = waitFor([&] {
    pushed = runProgram(words, {});
    return pushed.err.find("failed: connect") == std::string::npos;
  });
  ASSERT_TRUE(reached) << pushed.err;
  ASSERT_EQ(pushed.exitCode, kPushed) << pushed.out << pushed.err << phone().err();
}

std::string PhoneFixture::card(const std::string& surname, const std::string& lines) {
  return "BEGIN:VCARD\r\nVERSION:2.1\r\nN:" + surname + ";Test\r\n" + lines + "END:VCARD\r\n";
}

bool PhoneFixture::peerListens() const {
  std::ifstream sockets("/proc/net/unix");
  for (std::string line; std::getline(sockets, line);) {
    const bool accepts = line.find(" 00010000 ") != std::string::npos;
    if (accepts && line.ends_with(folder().file("66778899AABB-09"))) return true;
  }
  return false;
}

std::unique_ptr<Program> PhoneFixture::startReceiver() {
  std::filesystem::create_directories(folder().file("received"));
  Program::Words words = onRadio(kPeerAddress);
  for (const std::string& word :
       {std::string("obex_test"), std::string("-b"), std::to_string(kPeerChannel)}) {
    words.push_back(word);
  }
  // Serves one link, then quits.
  Program::Options with;
  with.input = "s\nq\n";
  with.folder = folder().file("received");
  auto receiver =
      std::make_unique<Program>(folder(), "receiver" + std::to_string(++m_started), words, with);
  EXPECT_TRUE(waitFor([&] { return peerListens() || !receiver->running(); }));
  EXPECT_TRUE(receiver->running()) << receiver->out() << receiver->err();
  return receiver;
}

std::string PhoneFixture::received(const std::string& name) const {
  return contentsOf(folder().file("received/" + name));
}

void PhoneFixture::breakPhonebook() const {
  const std::filesystem::path book = folder().file("state/obexphone/phonebook.db");
  ASSERT_TRUE(std::filesystem::remove(book));
  std::filesystem::create_directory(book);
}

void PhoneFixture::pushAndWaitFor(Program& watch, const std::vector<std::string>& cards,
                                  int before) {
  push(cards);
  const int count = before + static_cast<int>(cards.size());
  const bool offered = waitFor([&] {
    return occurrences(watch.out(), "\"event\":\"accept\"") +
               occurrences(watch.out(), "A card has come in") >=
           count;
  });
  ASSERT_TRUE(offered) << watch.out() << watch.err();
}

}  // namespace test
