#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/directory/DirectoryClient.h"
#include "tests/host/support/HostFixture.h"

namespace {

using host::Column;
using host::DirectoryAnswer;
using host::DirectoryClient;
using testing::HasSubstr;

/// The Directory Service on the bus.
class DirectoryObjectTest : public test::HostFixture {
 protected:
  void SetUp() override { startHost(); }

  test::BusClient::Answer call(GVariant* arguments) {
    return client().callObject("/org/obexphone/DirectoryService",
                               "org.obexphone.DirectoryServiceIfc", "handleRequest", arguments);
  }
  DirectoryAnswer ask(const std::string& request) {
    GVariant* bytes =
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, request.data(), request.size(), 1);
    const auto answer = call(g_variant_new_tuple(&bytes, 1));
    EXPECT_EQ(answer.error, "") << answer.message;
    GVariant* body = g_variant_ref_sink(test::parseValue(answer.values));
    GVariant* child = g_variant_get_child_value(body, 0);
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_variant_get_fixed_array(child, &size, 1));
    const std::string text(data, size);
    g_variant_unref(child);
    g_variant_unref(body);
    return DirectoryClient::parseAnswer(text);
  }
};

TEST_F(DirectoryObjectTest, WritesAndReadsAnEntry) {
  EXPECT_EQ(ask(DirectoryClient::writeRequest({{Column::kSurname, "Berg"}})).kind,
            DirectoryAnswer::Kind::kWritten);
  const auto answer = ask(DirectoryClient::listRequest({Column::kSurname}));
  ASSERT_EQ(answer.entries.size(), 1U);
  EXPECT_EQ(answer.entries[0].value(Column::kSurname), "Berg");
}

TEST_F(DirectoryObjectTest, KeepsTextThatIsNotUtf8) {
  ask(DirectoryClient::writeRequest({{Column::kSurname, "caf\xe9 \x01"}}));
  const auto answer = ask(DirectoryClient::listRequest({Column::kSurname}));
  ASSERT_EQ(answer.entries.size(), 1U);
  EXPECT_EQ(answer.entries[0].value(Column::kSurname), "caf\xe9 \x01");
}

TEST_F(DirectoryObjectTest, AnswersAnInvalidRequestWithAFailure) {
  EXPECT_EQ(ask("nonsense").kind, DirectoryAnswer::Kind::kFailure);
  EXPECT_EQ(ask("").kind, DirectoryAnswer::Kind::kFailure);
}

TEST_F(DirectoryObjectTest, RefusesOtherArguments) {
  EXPECT_EQ(call(g_variant_new("(s)", "text")).error, "org.freedesktop.DBus.Error.InvalidArgs");
  EXPECT_EQ(call(nullptr).error, "org.freedesktop.DBus.Error.InvalidArgs");
}

TEST_F(DirectoryObjectTest, HasNoOtherMethods) {
  EXPECT_EQ(client()
                .callObject("/org/obexphone/DirectoryService", "org.obexphone.DirectoryServiceIfc",
                            "erase", "(b'x',)")
                .error,
            "org.freedesktop.DBus.Error.UnknownMethod");
}

TEST_F(DirectoryObjectTest, RefusesAnAnswerAboveTheLimitOfTheBus) {
  const std::string large(1 << 20, 'x');
  for (int i = 0; i < 33; ++i)
    ask(DirectoryClient::writeRequest({{Column::kSurname, large + std::to_string(i)}}));
  const std::string request = DirectoryClient::listRequest({Column::kSurname});
  GVariant* bytes =
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, request.data(), request.size(), 1);
  const auto answer = call(g_variant_new_tuple(&bytes, 1));
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.LimitsExceeded");
  EXPECT_THAT(answer.message, HasSubstr("the limit of the bus is"));
  EXPECT_EQ(ask(DirectoryClient::listRequest({Column::kId})).entries.size(), 33U);
}

}  // namespace
