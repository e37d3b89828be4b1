#include "host/loader/PhoneContext.h"

#include <gtest/gtest.h>

#include "framework/Executable.h"
#include "framework/Proxy.h"

namespace {

struct Peer : Executable {
  void init(Context&) override {}
  void shutdown() override {}
};

TEST(PhoneContextTest, FindsAServiceByItsInterface) {
  host::PhoneContext context;
  Peer peer;
  context.addService("PeerIfc", peer);
  EXPECT_EQ(context.getService("PeerIfc"), &peer);
  EXPECT_EQ(context.getService("peerIfc"), nullptr);
  EXPECT_EQ(context.getService(""), nullptr);
}

TEST(PhoneContextTest, ReplacesAServiceOfTheSameName) {
  host::PhoneContext context;
  Peer first;
  Peer second;
  context.addService("PeerIfc", first);
  context.addService("PeerIfc", second);
  EXPECT_EQ(context.getService("PeerIfc"), &second);
}

TEST(PhoneContextTest, KnowsOneMessageFormat) {
  host::PhoneContext context;
  EXPECT_NE(context.getSerializer("json"), nullptr);
  EXPECT_EQ(context.getSerializer("JSON"), nullptr);
  EXPECT_EQ(context.getSerializer(""), nullptr);
}

TEST(PhoneContextTest, GetsProxiesFromItsSource) {
  host::PhoneContext context;
  EXPECT_EQ(context.getProxy("ObserverIfc", ":1.1"), nullptr);
  std::string asked;
  context.setProxySource([&](const std::string& interfaceName, const std::string& address) {
    asked = interfaceName + " at " + address;
    return nullptr;
  });
  EXPECT_EQ(context.getProxy("ObserverIfc", ":1.1"), nullptr);
  EXPECT_EQ(asked, "ObserverIfc at :1.1");
}

}  // namespace
