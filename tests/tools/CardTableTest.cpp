#include "tools/phonectl/CardTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using phonectl::cardTable;
using testing::ElementsAre;

TEST(CardTable, AlignsItsColumnsByWidth) {
  EXPECT_THAT(
      cardTable({{.id = "1", .surname = "日本"}, {.id = "10", .surname = "Muñoz", .mobile = "5"}}),
      ElementsAre("ID  NAME   NUMBERS", "1   日本", "10  Muñoz  mobile 5"));
}

TEST(CardTable, MarksTheDefaultNumberWithAStar) {
  EXPECT_THAT(
      cardTable({{.id = "1",
                  .surname = "D",
                  .office = "1",
                  .office2 = "2",
                  .mobile = "3",
                  .privateNumber = "4",
                  .defaultNumber = "2"}}),
      ElementsAre("ID  NAME  NUMBERS", "1   D     office 1, office 2 2*, mobile 3, private 4"));
}

TEST(CardTable, IsSafeToShow) {
  EXPECT_THAT(cardTable({{.id = "1", .surname = "a\x1b\n", .office = "\x07"}}),
              ElementsAre("ID  NAME     NUMBERS", "1   a\\x1b\\n  office \\x07"));
}
