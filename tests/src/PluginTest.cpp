// The built plug-in, through its exported symbols.

#include <bluetooth/bluetooth.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace test {
namespace {

class PluginTest : public ::testing::Test {
 protected:
  PluginTest() : m_library(dlopen(OBEX_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {}
  ~PluginTest() override {
    if (m_library != nullptr) dlclose(m_library);
  }
  void SetUp() override {
    ASSERT_NE(m_library, nullptr) << dlerror();
    m_btAton = reinterpret_cast<int (*)(const char*, bdaddr_t*)>(dlsym(m_library, "bt_aton"));
    ASSERT_NE(m_btAton, nullptr) << dlerror();
  }

  int Read(const std::string& text) { return m_btAton(text.c_str(), &m_address); }
  std::vector<int> Address() const { return {m_address.b, m_address.b + 6}; }

 private:
  void* const m_library;
  int (*m_btAton)(const char*, bdaddr_t*) = nullptr;
  bdaddr_t m_address{};
};

TEST_F(PluginTest, ExportsTheConversionOfAddresses) {
  EXPECT_EQ(Read("00:1A:7D:DA:71:13"), 1);
  EXPECT_EQ(Address(), (std::vector<int>{0x13, 0x71, 0xDA, 0x7D, 0x1A, 0x00}));
  EXPECT_EQ(Read("0:1a:7d:da:71:3"), 1);
  EXPECT_EQ(Address(), (std::vector<int>{0x03, 0x71, 0xDA, 0x7D, 0x1A, 0x00}));
}

TEST_F(PluginTest, RefusesInvalidAddressesThroughTheExport) {
  for (const char* text :
       {"00:1A:7D:DA:71", "00:1A:7D:DA:71:13:", "001A7DDA7113", "00:1G:7D:DA:71:13", ""}) {
    EXPECT_EQ(Read(text), 0) << text;
  }
}

}  // namespace
}  // namespace test
