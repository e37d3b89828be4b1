#include "host/directory/DirectoryResponse.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "framework/ClientUtils.h"
#include "host/directory/DirectoryRequest.h"

namespace {

using host::Column;
using host::DirectoryResponse;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>";

TEST(DirectoryResponseTest, HasNoEntryElementWithoutEntries) {
  DirectoryResponse response({Column::kSurname});
  const std::string text = response.finish();
  EXPECT_EQ(text, kHead + "read_response</ReasonForMessage></Schema>");
  std::string entry;
  EXPECT_EQ(ClientUtils::extractValueFromXMLString(text, "Entry", entry), 0);
}

TEST(DirectoryResponseTest, WritesEveryColumnInOrderAndNeverSelfClosed) {
  DirectoryResponse response({Column::kMobile, Column::kId, Column::kSurname});
  response.add({"", "1", "Doe"});
  response.add({"123", "2", ""});
  EXPECT_EQ(response.finish(),
            kHead +
                "read_response</ReasonForMessage>"
                "<Entry><Mobile></Mobile><Id>1</Id><Surname>Doe</Surname></Entry>"
                "<Entry><Mobile>123</Mobile><Id>2</Id><Surname></Surname></Entry></Schema>");
}

TEST(DirectoryResponseTest, EscapesMarkupInValues) {
  DirectoryResponse response({Column::kSurname});
  response.add({"</Surname></Entry><Entry>&amp;]]>"});
  EXPECT_THAT(response.finish(),
              HasSubstr("<Surname>&lt;/Surname&gt;&lt;/Entry&gt;&lt;Entry&gt;&amp;amp;]]&gt;"
                        "</Surname>"));
}

TEST(DirectoryResponseTest, EscapesACarriageReturn) {
  DirectoryResponse response({Column::kSurname});
  response.add({"a\r\nb"});
  EXPECT_THAT(response.finish(), HasSubstr("<Surname>a&#13;\nb</Surname>"));
}

TEST(DirectoryResponseTest, ReplacesANul) {
  DirectoryResponse response({Column::kSurname});
  response.add({std::string("a\0b", 3)});
  EXPECT_THAT(response.finish(), HasSubstr("<Surname>a\xEF\xBF\xBD"
                                           "b</Surname>"));
}

TEST(DirectoryResponseTest, WritesAFailureWithItsReason) {
  const std::string text = DirectoryResponse::failure("The <Entry> is no good.");
  EXPECT_EQ(text, kHead +
                      "failure</ReasonForMessage><Reason>The &lt;Entry&gt; is no good.</Reason>"
                      "</Schema>");
}

TEST(DirectoryResponseTest, WritesTheIdOfAWriteWithoutTheWordFailure) {
  const std::string text = DirectoryResponse::written(17);
  EXPECT_EQ(text, kHead + "write_response</ReasonForMessage><Id>17</Id></Schema>");
  EXPECT_THAT(text, Not(HasSubstr("failure")));
}

TEST(DirectoryResponseTest, WritesTheIdOfAChangeOnly) {
  EXPECT_EQ(DirectoryResponse::updated(17),
            kHead + "update_response</ReasonForMessage><Id>17</Id></Schema>");
  EXPECT_EQ(DirectoryResponse::deleted(18),
            kHead + "delete_response</ReasonForMessage><Id>18</Id></Schema>");
}

TEST(DirectoryResponseTest, RefusesAnAnswerThatDoesNotFitIntoABusMessage) {
  DirectoryResponse response({Column::kSurname});
  const std::string value(DirectoryResponse::kMaxBytes / 2 - 1000, 'x');
  response.add({value});
  response.add({value});
  EXPECT_THROW(response.add({value}), host::DirectoryRefusal);
}

}  // namespace
