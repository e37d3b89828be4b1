#include "host/bluetooth/RecordPublisher.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;

TEST(ServiceRecord, NamesObjectPushOnTheChannel) {
  const std::string record = host::serviceRecord(4);
  EXPECT_THAT(record, HasSubstr(R"(<attribute id="0x0001"><sequence><uuid value="0x1105"/>)"));
  EXPECT_THAT(record, HasSubstr(R"(<uuid value="0x0003"/><uint8 value="0x04"/>)"));
  EXPECT_THAT(host::serviceRecord(30), HasSubstr(R"(<uint8 value="0x1e"/>)"));
}

TEST(ServiceRecord, TakesVcardsAndNothingElse) {
  EXPECT_THAT(host::serviceRecord(4),
              HasSubstr(R"(<sequence><uint8 value="0x01"/><uint8 value="0x02"/></sequence>)"));
}

TEST(ServiceRecord, EachRegistrationHasAUuidOfItsOwn) {
  const std::string one = host::randomUuid();
  EXPECT_TRUE(g_uuid_string_is_valid(one.c_str()));
  EXPECT_NE(one, host::randomUuid());
}
