#include "framework/Method.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

class MethodTest : public testing::Test {
 protected:
  void ExpectBool(const std::string& name, bool expected) {
    bool value = !expected;
    EXPECT_TRUE(m_method.getBoolParameter(name, value, Parameter::IN));
    EXPECT_EQ(value, expected);
  }
  void ExpectInt(const std::string& name, int expected) {
    int value = ~expected;
    EXPECT_TRUE(m_method.getIntParameter(name, value, Parameter::IN));
    EXPECT_EQ(value, expected);
  }
  void ExpectString(const std::string& name, const std::string& expected) {
    std::string value = expected + "?";
    EXPECT_TRUE(m_method.getStringParameter(name, value, Parameter::IN));
    EXPECT_EQ(value, expected);
  }

  Method m_method{"event", Method::REQUEST};
};

TEST_F(MethodTest, KeepsNameAndType) {
  EXPECT_EQ(m_method.getName(), "event");
  EXPECT_EQ(m_method.getType(), Method::REQUEST);
}

TEST_F(MethodTest, IsAnUnnamedNotificationByDefault) {
  const Method method;
  EXPECT_EQ(method.getName(), "");
  EXPECT_EQ(method.getType(), Method::NOTIFICATION);
  EXPECT_TRUE(method.getParameters().empty());
}

TEST_F(MethodTest, HasFixedNumbersForTypesAndDirections) {
  EXPECT_EQ(static_cast<int>(Method::NOTIFICATION), 0);
  EXPECT_EQ(static_cast<int>(Method::REPLY), 1);
  EXPECT_EQ(static_cast<int>(Parameter::IN), 0);
  EXPECT_EQ(static_cast<int>(Parameter::OUT), 1);
}

TEST_F(MethodTest, ReturnsAddedValues) {
  m_method.addBoolParameter("b", true, Parameter::IN);
  m_method.addIntParameter("i", INT_MIN, Parameter::IN);
  m_method.addStringParameter("s", "text", Parameter::IN);
  ExpectBool("b", true);
  ExpectInt("i", INT_MIN);
  ExpectString("s", "text");
}

TEST_F(MethodTest, KeepsAllByteValuesOfAString) {
  const std::string bytes("a\0\xff\n", 4);
  m_method.addStringParameter("s", bytes, Parameter::IN);
  ExpectString("s", bytes);
}

TEST_F(MethodTest, LeavesTheValueUnchangedForAnUnknownName) {
  m_method.addStringParameter("s", "text", Parameter::IN);
  std::string value = "before";
  EXPECT_FALSE(m_method.getStringParameter("S", value, Parameter::IN));
  EXPECT_EQ(value, "before");
}

TEST_F(MethodTest, MatchesTheDirection) {
  m_method.addBoolParameter("b", true, Parameter::OUT);
  bool value = false;
  EXPECT_FALSE(m_method.getBoolParameter("b", value, Parameter::IN));
  EXPECT_FALSE(value);
  EXPECT_TRUE(m_method.getBoolParameter("b", value, Parameter::OUT));
  EXPECT_TRUE(value);
}

TEST_F(MethodTest, MatchesTheType) {
  m_method.addIntParameter("x", 1, Parameter::IN);
  bool flag = false;
  std::string text = "before";
  EXPECT_FALSE(m_method.getBoolParameter("x", flag, Parameter::IN));
  EXPECT_FALSE(m_method.getStringParameter("x", text, Parameter::IN));
  EXPECT_FALSE(flag);
  EXPECT_EQ(text, "before");
}

TEST_F(MethodTest, ReturnsTheFirstMatch) {
  m_method.addIntParameter("x", 1, Parameter::OUT);
  m_method.addBoolParameter("x", true, Parameter::IN);
  m_method.addIntParameter("x", 2, Parameter::IN);
  m_method.addIntParameter("x", 3, Parameter::IN);
  ExpectInt("x", 2);
}

TEST_F(MethodTest, KeepsTheOrderOfParameters) {
  m_method.addIntParameter("z", 1, Parameter::IN);
  m_method.addIntParameter("a", 2, Parameter::OUT);
  ASSERT_EQ(m_method.getParameters().size(), 2u);
  EXPECT_EQ(m_method.getParameters()[0].name, "z");
  EXPECT_EQ(m_method.getParameters()[1].name, "a");
  EXPECT_EQ(m_method.getParameters()[1].direction, Parameter::OUT);
}

}  // namespace
