#include "framework/ClientUtils.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class ClientUtilsTest : public testing::Test {
 protected:
  void ExpectValue(const std::string& xml, const std::string& name, const std::string& expected) {
    std::string value = "before";
    EXPECT_EQ(ClientUtils::extractValueFromXMLString(xml, name, value), 1) << xml;
    EXPECT_EQ(value, expected) << xml;
  }
  void ExpectNone(const std::string& xml, const std::string& name) {
    std::string value = "before";
    EXPECT_EQ(ClientUtils::extractValueFromXMLString(xml, name, value), 0) << xml;
    EXPECT_EQ(value, "before") << xml;
  }
};

TEST_F(ClientUtilsTest, ReturnsTheTextBetweenTheTags) {
  ExpectValue("<Entry><Surname>Berg</Surname></Entry>", "Surname", "Berg");
  ExpectValue("<Entry><Surname>Berg</Surname></Entry>", "Entry", "<Surname>Berg</Surname>");
}

TEST_F(ClientUtilsTest, ReturnsTheEmptyTextOfAnEmptyElement) { ExpectValue("<a></a>", "a", ""); }

TEST_F(ClientUtilsTest, ReturnsTheFirstOfSeveralElements) {
  ExpectValue("<a>1</a><a>2</a>", "a", "1");
}

TEST_F(ClientUtilsTest, EndsAtTheFirstClosingTag) {
  ExpectValue("<a>1<a>2</a>3</a>", "a", "1<a>2");
}

TEST_F(ClientUtilsTest, SkipsAClosingTagBeforeTheOpeningOne) {
  ExpectValue("</a><a>1</a>", "a", "1");
}

TEST_F(ClientUtilsTest, MatchesWholeNames) {
  ExpectValue("<Office2>2</Office2><Office>1</Office>", "Office", "1");
}

TEST_F(ClientUtilsTest, NeitherUnescapesNorTrims) {
  ExpectValue("<a> &lt;b&gt;&#9;\n </a>", "a", " &lt;b&gt;&#9;\n ");
}

TEST_F(ClientUtilsTest, KeepsAllByteValues) {
  ExpectValue(std::string("<a>\0\xff</a>", 9), "a", std::string("\0\xff", 2));
}

TEST_F(ClientUtilsTest, LeavesTheValueUnchangedWithoutAMatch) {
  ExpectNone("", "a");
  ExpectNone("<b>1</b>", "a");
  ExpectNone("<A>1</A>", "a");
}

TEST_F(ClientUtilsTest, IgnoresAnElementWithoutAClosingTag) {
  ExpectNone("<a>1", "a");
  ExpectNone("</a><a>1", "a");
}

TEST_F(ClientUtilsTest, IgnoresAttributesAndSelfClosedElements) {
  ExpectNone("<a b=\"1\">1</a>", "a");
  ExpectNone("<a/>", "a");
}

TEST_F(ClientUtilsTest, AllowsTheTextAsTheValue) {
  std::string xml = "<a>1</a>";
  EXPECT_EQ(ClientUtils::extractValueFromXMLString(xml, "a", xml), 1);
  EXPECT_EQ(xml, "1");
}

}  // namespace
