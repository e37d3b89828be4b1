#include "host/app/PhonebookDisk.h"

#include <gtest/gtest.h>

#include "host/app/DiskRoom.h"
#include "tests/tools/Program.h"

namespace {

const test::TestFolder& folder() {
  static const test::TestFolder folder;
  return folder;
}

}  // namespace

TEST(PhonebookDisk, WithRoomIsNoProblem) {
  EXPECT_TRUE(host::phonebookDiskProblem("sqlite3://" + folder().file("book.db")).none());
  EXPECT_TRUE(host::phonebookDiskProblem("sqlite3://" + folder().file("no/such/book.db")).none());
}

TEST(PhonebookDisk, WithoutRoomIsToldAlsoWhereTheFolderIsMissing) {
  // No bytes can be free there.
  const host::Problem problem = host::phonebookDiskProblem("sqlite3:///proc/none/book.db");
  EXPECT_EQ(problem.text, "/proc: its disk is full");
  EXPECT_NE(problem.remedy.find("df -h /proc"), std::string::npos);
}

TEST(PhonebookDisk, OfWhatIsNotKnownIsNoProblem) {
  EXPECT_TRUE(host::phonebookDiskProblem("postgresql://user@host/book").none());
  EXPECT_TRUE(host::phonebookDiskProblem("sqlite3://book.db").none());
  EXPECT_TRUE(host::phonebookDiskProblem("").none());
}

TEST(DiskRoom, IsWhatIsFreeForTheUser) {
  EXPECT_TRUE(host::diskRoomProblem(folder().path(), 1).none());
  EXPECT_FALSE(host::diskRoomProblem(folder().path(), ~std::uint64_t{0}).none());
  EXPECT_TRUE(host::diskRoomProblem(folder().file("none"), 1).none());
}
