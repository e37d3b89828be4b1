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

TEST_F(ServicePluginTest, makesTheObjectsOfAService) {
  const host::ServicePlugin plugin(ECHO_PLUGIN, host::ServiceNames("EchoService"));
  EXPECT_NE(plugin.createService(), nullptr);
  EXPECT_NE(plugin.createInvoker(), nullptr);
  EXPECT_NE(plugin.createObserverProxy(), nullptr);
}

TEST_F(ServicePluginTest, makesTheObjectsOfTheObexService) {
  const host::ServicePlugin plugin(OBEX_PLUGIN, host::ServiceNames("OBEXService"));
  EXPECT_NE(plugin.createService(), nullptr);
  EXPECT_NE(plugin.createInvoker(), nullptr);
  EXPECT_NE(plugin.createObserverProxy(), nullptr);
}

TEST_F(ServicePluginTest, makesANewObjectEachTime) {
  const host::ServicePlugin plugin(ECHO_PLUGIN, host::ServiceNames("EchoService"));
  const auto first = plugin.createObserverProxy();
  EXPECT_NE(first, plugin.createObserverProxy());
}

TEST_F(ServicePluginTest, twoPluginsLiveInOneProcess) {
  const host::ServicePlugin echo(ECHO_PLUGIN, host::ServiceNames("EchoService"));
  const host::ServicePlugin obex(OBEX_PLUGIN, host::ServiceNames("OBEXService"));
  EXPECT_NE(echo.createService(), nullptr);
  EXPECT_NE(obex.createService(), nullptr);
}

TEST_F(ServicePluginTest, objectsOutliveThePluginObject) {
  std::unique_ptr<Service> service;
  {
    const host::ServicePlugin plugin(ECHO_PLUGIN, host::ServiceNames("EchoService"));
    service = plugin.createService();
  }
  service->shutdown();
  EXPECT_NE(dynamic_cast<Executable*>(service.get()), nullptr);
}

TEST_F(ServicePluginTest, aRelativePathIsMadeAbsolute) {
  const std::string relative = std::filesystem::relative(ECHO_PLUGIN).string();
  const host::ServicePlugin plugin(relative, host::ServiceNames("EchoService"));
  EXPECT_EQ(plugin.file(), ECHO_PLUGIN);
}

TEST_F(ServicePluginTest, aMissingFileIsNamed) {
  EXPECT_EQ(loadError(m_folder.file("none.so"), "EchoService"),
            "there is no service plug-in at " + m_folder.file("none.so"));
}

TEST_F(ServicePluginTest, aFileThatIsNoLibraryIsRefused) {
  const std::string file = m_folder.write("text.so", "not a library at all");
  EXPECT_THAT(loadError(file, "EchoService"), HasSubstr("the service plug-in can't be loaded: "));
  EXPECT_THAT(loadError(file, "EchoService"), HasSubstr(file));
}

TEST_F(ServicePluginTest, aFolderIsRefused) {
  EXPECT_THAT(loadError(m_folder.path(), "EchoService"), HasSubstr("can't be loaded"));
}

TEST_F(ServicePluginTest, aLibraryThatNeedsWhatIsNotThereIsRefusedAtOnce) {
  EXPECT_THAT(loadError(plugin("libunresolvedservice.so"), "EchoService"),
              HasSubstr("functionThatNoLibraryHas"));
}

TEST_F(ServicePluginTest, aMissingEntryPointIsNamed) {
  EXPECT_EQ(loadError(plugin("libhalfservice.so"), "HalfService"),
            plugin("libhalfservice.so") +
                " is not a plug-in of the service HalfService: it has no entry point "
                "createHalfServiceObserverProxy");
}

TEST_F(ServicePluginTest, aPluginOfAnotherServiceIsRefused) {
  EXPECT_THAT(loadError(ECHO_PLUGIN, "OBEXService"), HasSubstr("createOBEXService"));
}

TEST_F(ServicePluginTest, anEntryPointThatMakesNothingIsNamed) {
  const host::ServicePlugin nothing(plugin("libhalfservice.so"),
                                    host::ServiceNames("NothingService"));
  EXPECT_THAT(whatOf([&] { static_cast<void>(nothing.createService()); }),
              HasSubstr("createNothingService of " + plugin("libhalfservice.so")));
  EXPECT_THAT(whatOf([&] { static_cast<void>(nothing.createInvoker()); }),
              HasSubstr("createNothingServiceInvoker"));
  EXPECT_THAT(whatOf([&] { static_cast<void>(nothing.createObserverProxy()); }),
              HasSubstr("createNothingServiceObserverProxy"));
}

TEST_F(ServicePluginTest, theDescriptionStandsBesideTheLibrary) {
  const host::ServicePlugin plugin(ECHO_PLUGIN, host::ServiceNames("EchoService"));
  EXPECT_THAT(plugin.readIntrospection(), HasSubstr("org.obexphone.EchoServiceIfc"));
}

TEST_F(ServicePluginTest, aMissingDescriptionIsNamed) {
  const host::ServicePlugin nothing(plugin("libhalfservice.so"),
                                    host::ServiceNames("NothingService"));
  EXPECT_THAT(whatOf([&] { static_cast<void>(nothing.readIntrospection()); }),
              HasSubstr(plugin("nothingservice.xml")));
}

TEST_F(ServicePluginTest, anImmenseDescriptionIsRefused) {
  std::filesystem::copy_file(ECHO_PLUGIN, m_folder.file("libechoservice.so"));
  m_folder.write("echoservice.xml", std::string(2 << 20, ' '));
  const host::ServicePlugin plugin(m_folder.file("libechoservice.so"),
                                   host::ServiceNames("EchoService"));
  EXPECT_THAT(whatOf([&] { static_cast<void>(plugin.readIntrospection()); }),
              HasSubstr("can't be read"));
}

TEST(ServiceNamesTest, everyNameFollowsFromTheServices) {
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
