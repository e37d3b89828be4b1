#include "host/loader/ServicePlugin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "tests/tools/Program.h"

namespace {

using testing::HasSubstr;

std::string whatOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "nothing was thrown";
}

class ServicePluginTest : public testing::Test {
 protected:
  static std::string loadError(const std::string& file, const std::string& service) {
    return whatOf([&] { host::ServicePlugin(file, host::ServiceNames(service)); });
  }
  static std::string plugin(const std::string& name) {
    return std::string(TEST_PLUGINS) + "/" + name;
  }
  const test::TestFolder m_folder;
};

TEST_F(ServicePluginTest, CreatesTheObjectsOfTheService) {
  const host::ServicePlugin plugin(OBEX_PLUGIN, host::ServiceNames("OBEXService"));
  EXPECT_NE(plugin.createService(), nullptr);
  EXPECT_NE(plugin.createInvoker(), nullptr);
  EXPECT_NE(plugin.createObserverProxy(), nullptr);
}

TEST_F(ServicePluginTest, CreatesANewObjectEachTime) {
  const host::ServicePlugin plugin(OBEX_PLUGIN, host::ServiceNames("OBEXService"));
  const auto first = plugin.createObserverProxy();
  EXPECT_NE(first, plugin.createObserverProxy());
}

TEST_F(ServicePluginTest, LoadsTwoPluginsIntoOneProcess) {
  const host::ServicePlugin fake(FAKE_PLUGIN, host::ServiceNames("FakeService"));
  const host::ServicePlugin obex(OBEX_PLUGIN, host::ServiceNames("OBEXService"));
  EXPECT_NE(fake.createService(), nullptr);
  EXPECT_NE(obex.createService(), nullptr);
}

TEST_F(ServicePluginTest, KeepsTheLibraryLoadedForItsObjects) {
  std::unique_ptr<Service> service;
  {
    const host::ServicePlugin plugin(OBEX_PLUGIN, host::ServiceNames("OBEXService"));
    service = plugin.createService();
  }
  service->shutdown();
  EXPECT_NE(dynamic_cast<Executable*>(service.get()), nullptr);
}

TEST_F(ServicePluginTest, MakesARelativePathAbsolute) {
  const std::string relative = std::filesystem::relative(OBEX_PLUGIN).string();
  const host::ServicePlugin plugin(relative, host::ServiceNames("OBEXService"));
  EXPECT_EQ(plugin.file(), OBEX_PLUGIN);
}

TEST_F(ServicePluginTest, NamesAMissingFile) {
  EXPECT_EQ(loadError(m_folder.file("none.so"), "FakeService"),
            "no service plug-in at " + m_folder.file("none.so"));
}

TEST_F(ServicePluginTest, RefusesAFileThatIsNoLibrary) {
  const std::string file = m_folder.write("text.so", "not a library at all");
  EXPECT_THAT(loadError(file, "FakeService"), HasSubstr("can't load the service plug-in: "));
  EXPECT_THAT(loadError(file, "FakeService"), HasSubstr(file));
}

TEST_F(ServicePluginTest, RefusesAFolder) {
  EXPECT_THAT(loadError(m_folder.path(), "FakeService"), HasSubstr("can't load"));
}

TEST_F(ServicePluginTest, RefusesALibraryWithAnUndefinedSymbol) {
  EXPECT_THAT(loadError(plugin("libunresolvedservice.so"), "FakeService"),
              HasSubstr("functionThatNoLibraryHas"));
}

TEST_F(ServicePluginTest, NamesAMissingEntryPoint) {
  EXPECT_EQ(loadError(plugin("libhalfservice.so"), "HalfService"),
            plugin("libhalfservice.so") +
                " is not a plug-in for HalfService: entry point createHalfServiceObserverProxy is "
                "missing");
}

TEST_F(ServicePluginTest, RefusesAPluginOfAnotherService) {
  EXPECT_THAT(loadError(FAKE_PLUGIN, "OBEXService"), HasSubstr("createOBEXService"));
}

TEST_F(ServicePluginTest, NamesAnEntryPointThatReturnsNull) {
  const host::ServicePlugin nothing(plugin("libhalfservice.so"),
                                    host::ServiceNames("NothingService"));
  EXPECT_THAT(whatOf([&] { static_cast<void>(nothing.createService()); }),
              HasSubstr("createNothingService of " + plugin("libhalfservice.so")));
  EXPECT_THAT(whatOf([&] { static_cast<void>(nothing.createInvoker()); }),
              HasSubstr("createNothingServiceInvoker"));
  EXPECT_THAT(whatOf([&] { static_cast<void>(nothing.createObserverProxy()); }),
              HasSubstr("createNothingServiceObserverProxy"));
}

TEST_F(ServicePluginTest, ReadsTheIntrospectionFileBesideTheLibrary) {
  const host::ServicePlugin plugin(FAKE_PLUGIN, host::ServiceNames("FakeService"));
  EXPECT_THAT(plugin.readIntrospection(), HasSubstr("org.obexphone.FakeServiceIfc"));
}

TEST_F(ServicePluginTest, NamesAMissingIntrospectionFile) {
  const host::ServicePlugin nothing(plugin("libhalfservice.so"),
                                    host::ServiceNames("NothingService"));
  EXPECT_THAT(whatOf([&] { static_cast<void>(nothing.readIntrospection()); }),
              HasSubstr(plugin("nothingservice.xml")));
}

TEST_F(ServicePluginTest, RefusesAHugeIntrospectionFile) {
  std::filesystem::copy_file(FAKE_PLUGIN, m_folder.file("libfakeservice.so"));
  m_folder.write("fakeservice.xml", std::string(2 << 20, ' '));
  const host::ServicePlugin plugin(m_folder.file("libfakeservice.so"),
                                   host::ServiceNames("FakeService"));
  EXPECT_THAT(whatOf([&] { static_cast<void>(plugin.readIntrospection()); }),
              HasSubstr("can't read"));
}

TEST(ServiceNamesTest, DerivesEveryNameFromTheServices) {
  const host::ServiceNames names("OBEXService");
  EXPECT_EQ(names.service, "OBEXService");
  EXPECT_EQ(names.createService, "createOBEXService");
  EXPECT_EQ(names.createInvoker, "createOBEXServiceInvoker");
  EXPECT_EQ(names.createObserverProxy, "createOBEXServiceObserverProxy");
  EXPECT_EQ(names.observerIfc, "OBEXServiceObserverIfc");
  EXPECT_EQ(names.interface, "org.obexphone.OBEXServiceIfc");
  EXPECT_EQ(names.path, "/org/obexphone/OBEXService");
  EXPECT_EQ(names.observerInterface, "org.obexphone.OBEXServiceObserverIfc");
  EXPECT_EQ(names.observerPath, "/org/obexphone/OBEXServiceObserver");
  EXPECT_EQ(names.introspectionFile, "obexservice.xml");
}

}  // namespace
