#include "host/directory/DirectoryClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "host/directory/DirectoryRequest.h"
#include "host/directory/DirectoryResponse.h"

namespace {

using cards::columnNamed;
using host::Column;
using host::DirectoryAnswer;
using host::DirectoryClient;
using host::DirectoryRequest;
using host::DirectoryResponse;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(DirectoryClientTest, FindsColumnsByExactName) {
  for (const Column column : host::kAllColumns)
    EXPECT_EQ(columnNamed(cards::cardColumn(column).name), column);
  for (const char* name : {"", "surname", "Surname ", "Entry", "Note"})
    EXPECT_EQ(columnNamed(name), std::nullopt) << name;
}

TEST(DirectoryClientTest, BuildsAListRequest) {
  const DirectoryRequest request =
      DirectoryRequest::parse(DirectoryClient::listRequest({Column::kId, Column::kSurname}));
  EXPECT_EQ(request.kind(), DirectoryRequest::Kind::kRead);
  EXPECT_THAT(request.resultColumns(), ElementsAre(Column::kId, Column::kSurname));
  EXPECT_THAT(request.entry(), IsEmpty());
}

TEST(DirectoryClientTest, BuildsAMatchRequestWithExactValues) {
  const std::string value = " <a>&amp;\r\n\"'\x01\xFF";
  const DirectoryRequest request = DirectoryRequest::parse(
      DirectoryClient::matchRequest({Column::kId}, {{Column::kCompany, value}}));
  ASSERT_EQ(request.entry().size(), 1u);
  EXPECT_EQ(request.entry().front().column, Column::kCompany);
  EXPECT_EQ(request.entry().front().value, value);
}

TEST(DirectoryClientTest, BuildsAWriteRequestWithExactValues) {
  const DirectoryRequest request = DirectoryRequest::parse(
      DirectoryClient::writeRequest({{Column::kSurname, "A<B"}, {Column::kGroup, "0"}}));
  EXPECT_EQ(request.kind(), DirectoryRequest::Kind::kWrite);
  ASSERT_EQ(request.entry().size(), 2u);
  EXPECT_EQ(request.entry().front().value, "A<B");
}

TEST(DirectoryClientTest, BuildsAnUpdateRequestWithExactValues) {
  const DirectoryRequest request = DirectoryRequest::parse(
      DirectoryClient::updateRequest("17", {{Column::kSurname, "A<B\r"}, {Column::kMobile, ""}}));
  EXPECT_EQ(request.kind(), DirectoryRequest::Kind::kUpdate);
  EXPECT_EQ(request.id(), 17);
  ASSERT_EQ(request.entry().size(), 2u);
  EXPECT_EQ(request.entry().front().value, "A<B\r");
  EXPECT_EQ(request.entry().back().value, "");
}

TEST(DirectoryClientTest, BuildsADeleteRequest) {
  const DirectoryRequest request = DirectoryRequest::parse(DirectoryClient::deleteRequest("17"));
  EXPECT_EQ(request.kind(), DirectoryRequest::Kind::kDelete);
  EXPECT_EQ(request.id(), 17);
}

TEST(DirectoryClientTest, ParsesEntriesWithTheirColumnsInOrder) {
  DirectoryResponse response({Column::kId, Column::kSurname, Column::kMobile});
  response.add({"1", " Doe\r\n", ""});
  response.add({"2", "  ", "<1>"});
  const DirectoryAnswer answer = DirectoryClient::parseAnswer(response.finish());
  ASSERT_EQ(answer.kind, DirectoryAnswer::Kind::kRead);
  ASSERT_EQ(answer.entries.size(), 2u);
  EXPECT_EQ(answer.entries[0].values.front().column, Column::kId);
  EXPECT_EQ(answer.entries[0].value(Column::kSurname), " Doe\r\n");
  EXPECT_EQ(answer.entries[0].value(Column::kMobile), "");
  EXPECT_EQ(answer.entries[1].value(Column::kSurname), "  ");
  EXPECT_EQ(answer.entries[1].value(Column::kMobile), "<1>");
  EXPECT_EQ(answer.entries[1].value(Column::kEmail), "");
}

TEST(DirectoryClientTest, ParsesFailuresAndWrites) {
  const DirectoryAnswer failure =
      DirectoryClient::parseAnswer(DirectoryResponse::failure("No \"<room>\"."));
  EXPECT_EQ(failure.kind, DirectoryAnswer::Kind::kFailure);
  EXPECT_EQ(failure.reason, "No \"<room>\".");
  const DirectoryAnswer written = DirectoryClient::parseAnswer(DirectoryResponse::written(42));
  EXPECT_EQ(written.kind, DirectoryAnswer::Kind::kWritten);
  EXPECT_EQ(written.id, "42");
}

TEST(DirectoryClientTest, ParsesUpdatesAndDeletions) {
  const DirectoryAnswer updated = DirectoryClient::parseAnswer(DirectoryResponse::updated(17));
  EXPECT_EQ(updated.kind, DirectoryAnswer::Kind::kUpdated);
  EXPECT_EQ(updated.id, "17");
  const DirectoryAnswer deleted = DirectoryClient::parseAnswer(DirectoryResponse::deleted(18));
  EXPECT_EQ(deleted.kind, DirectoryAnswer::Kind::kDeleted);
  EXPECT_EQ(deleted.id, "18");
}

TEST(DirectoryClientTest, ThrowsWhenTheTextIsNotAnAnswer) {
  const std::string answer = DirectoryResponse::written(42);
  for (const std::string& text : {std::string(), std::string("hello"),
                                  answer.substr(0, answer.size() - 1), std::string("<Schema/>"),
                                  std::string("<Schema name='x'><ReasonForMessage>"
                                              "new_response</ReasonForMessage></Schema>")})
    EXPECT_THROW(DirectoryClient::parseAnswer(text), std::runtime_error) << text;
}

}  // namespace
