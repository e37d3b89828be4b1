#include "tests/host/support/HostFixture.h"

#include <csignal>

#include "tests/support/WaitFor.h"

namespace test {

void HostFixture::startBus(const std::string& policy, const std::string& limits) {
  m_bus = std::make_unique<PrivateBus>(m_folder, policy, limits);
}

void HostFixture::TearDown() {
  m_client.reset();
  if (m_host && m_host->running()) stopHost();
}

std::string HostFixture::phonebook() const { return "sqlite3://" + m_folder.file("book.db"); }

Program::Words HostFixture::hostWords(const Program::Words& options) {
  if (!m_bus) startBus();
  const char* const plugin = m_service == "FakeService" ? FAKE_PLUGIN : OBEX_PLUGIN;
  Program::Words words{PHONE_HOST,  "--bus",   m_bus->address(), "--plugin", plugin,
                       "--service", m_service, "--phonebook",    phonebook()};
  words.insert(words.end(), options.begin(), options.end());
  return words;
}

std::unique_ptr<Program> HostFixture::launchHost(const Program::Words& options) {
  return std::make_unique<Program>(m_folder, "host" + std::to_string(++m_starts),
                                   hostWords(options), Program::Options{});
}

std::unique_ptr<Program> HostFixture::launchHostAfter(const std::string& shell) {
  Program::Words words{"sh", "-c", shell + "; exec \"$@\"", "sh"};
  for (const std::string& word : hostWords({})) words.push_back(word);
  return std::make_unique<Program>(m_folder, "host" + std::to_string(++m_starts), words,
                                   Program::Options{});
}

void HostFixture::startHost(const Program::Words& options) {
  m_host = launchHost(options);
  ASSERT_TRUE(m_host->waitForOut("phone-host: ready")) << m_host->err();
  m_client = newClient();
}

void HostFixture::stopHost(int expectedCode) {
  m_host->signal(SIGTERM);
  EXPECT_EQ(m_host->wait(), expectedCode) << m_host->err();
  EXPECT_EQ(m_host->err().find("Sanitizer"), std::string::npos) << m_host->err();
}

Finished HostFixture::busctl(const Program::Words& words) {
  Program::Words all{"busctl", "--address=" + m_bus->address(), "--timeout=60"};
  all.insert(all.end(), words.begin(), words.end());
  return runProgram(all, {});
}

std::unique_ptr<BusClient> HostFixture::newClient() {
  return std::make_unique<BusClient>(m_bus->address(), m_service);
}

std::uint32_t HostFixture::block() {
  const std::uint32_t serial =
      m_client->send("waitEvent", "({'file': <'" + m_folder.file("release") + "'>},)");
  EXPECT_TRUE(waitFor([&] { return m_client->status("busy") == "true"; }));
  return serial;
}

void HostFixture::release() { m_folder.write("release", ""); }

}  // namespace test
