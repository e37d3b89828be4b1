#include "host/bus/Arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/support/BusClient.h"

namespace {

using testing::HasSubstr;

class ArgumentsTest : public testing::Test {
 protected:
  /// Reads a body in text format; an empty text stands for no body.
  bool read(const std::string& text) {
    GVariant* body = text.empty() ? nullptr : g_variant_ref_sink(test::parseValue(text));
    const bool done = host::readArguments(body, Parameter::IN, m_method, m_problem);
    if (body != nullptr) g_variant_unref(body);
    return done;
  }
  static std::string write(const Method& method, Parameter::directions direction) {
    GVariant* body = g_variant_ref_sink(host::makeArguments(method, direction));
    EXPECT_NE(g_variant_is_of_type(body, G_VARIANT_TYPE("(a{sv})")), FALSE);
    char* text = g_variant_print(body, TRUE);
    const std::string copy = text;
    g_free(text);
    g_variant_unref(body);
    return copy;
  }
  std::string text(const std::string& name) const {
    std::string value = "none";
    m_method.getStringParameter(name, value, Parameter::IN);
    return value;
  }
  static std::string writeText(const std::string& value) {
    Method method("x", Method::REPLY);
    method.addStringParameter("t", value, Parameter::OUT);
    return write(method, Parameter::OUT);
  }

  Method m_method{"test", Method::REQUEST};
  std::string m_problem;
};

TEST_F(ArgumentsTest, ReadsEveryType) {
  ASSERT_TRUE(read("({'b': <true>, 'i': <-7>, 's': <'word'>, 'y': <b'by\\377'>},)"));
  bool flag = false;
  int number = 0;
  EXPECT_TRUE(m_method.getBoolParameter("b", flag, Parameter::IN));
  EXPECT_TRUE(m_method.getIntParameter("i", number, Parameter::IN));
  EXPECT_TRUE(flag);
  EXPECT_EQ(number, -7);
  EXPECT_EQ(text("s"), "word");
  EXPECT_EQ(text("y"), std::string("by\xff\0", 4));
}

TEST_F(ArgumentsTest, ReadsExtremeNumbers) {
  ASSERT_TRUE(read("({'low': <-2147483648>, 'high': <2147483647>},)"));
  int number = 0;
  EXPECT_TRUE(m_method.getIntParameter("low", number, Parameter::IN));
  EXPECT_EQ(number, -2147483648);
  EXPECT_TRUE(m_method.getIntParameter("high", number, Parameter::IN));
  EXPECT_EQ(number, 2147483647);
}

TEST_F(ArgumentsTest, ReadsAnEmptyDictionary) {
  EXPECT_TRUE(read("(@a{sv} {},)"));
  EXPECT_TRUE(m_method.getParameters().empty());
}

TEST_F(ArgumentsTest, ReadsEmptyStringsAndBytes) {
  ASSERT_TRUE(read("({'s': <''>, 'y': <@ay []>},)"));
  EXPECT_EQ(text("s"), "");
  EXPECT_EQ(text("y"), "");
}

TEST_F(ArgumentsTest, KeepsOrderAndDuplicates) {
  ASSERT_TRUE(read("([{'z', <'1'>}, {'a', <'2'>}, {'z', <'3'>}],)"));
  ASSERT_EQ(m_method.getParameters().size(), 3U);
  EXPECT_EQ(m_method.getParameters()[1].name, "a");
  EXPECT_EQ(text("z"), "1");
}

TEST_F(ArgumentsTest, RefusesAMissingBody) {
  EXPECT_FALSE(read(""));
  EXPECT_EQ(m_problem, "the body must be one dictionary, (a{sv}), but is empty");
}

TEST_F(ArgumentsTest, RefusesABodyThatIsNoDictionary) {
  for (const char* body : {"('x',)", "(@a{sv} {}, 1)", "({'a': 'b'},)", "(@a{iv} {},)", "()"}) {
    EXPECT_FALSE(read(body)) << body;
    EXPECT_THAT(m_problem, HasSubstr("must be one dictionary")) << body;
  }
}

TEST_F(ArgumentsTest, LeavesOutValuesOfOtherTypesAndNamesThem) {
  for (const char* value : {"uint32 1", "int64 1", "1.5", "byte 0x41", "<'s'>", "['s']",
                            "objectpath '/a'", "signature 's'", "('s',)", "{'a': <1>}"}) {
    m_method = Method("test", Method::REQUEST);
    EXPECT_TRUE(read(std::string("({'odd': <") + value + ">, 'good': <'x'>},)")) << value;
    EXPECT_EQ(m_method.getParameters().size(), 1U) << value;
    EXPECT_EQ(text("good"), "x") << value;
    EXPECT_THAT(m_problem, HasSubstr("the parameter \"odd\" was ignored: it is of type ")) << value;
  }
}

TEST_F(ArgumentsTest, WritesEveryType) {
  Method method("x", Method::REPLY);
  method.addBoolParameter("b", true, Parameter::OUT);
  method.addIntParameter("i", -5, Parameter::OUT);
  method.addStringParameter("s", "grüß", Parameter::OUT);
  EXPECT_EQ(write(method, Parameter::OUT), "({'b': <true>, 'i': <-5>, 's': <'grüß'>},)");
}

TEST_F(ArgumentsTest, WritesOneDirectionOnly) {
  Method method("x", Method::REPLY);
  method.addBoolParameter("in", true, Parameter::IN);
  method.addBoolParameter("out", false, Parameter::OUT);
  EXPECT_EQ(write(method, Parameter::OUT), "({'out': <false>},)");
  EXPECT_EQ(write(method, Parameter::IN), "({'in': <true>},)");
}

TEST_F(ArgumentsTest, WritesNoParametersAsAnEmptyDictionary) {
  EXPECT_EQ(write(Method("x", Method::REPLY), Parameter::OUT), "(@a{sv} {},)");
}

TEST_F(ArgumentsTest, WritesInvalidUtf8AndNulAsBytes) {
  EXPECT_EQ(writeText("caf\xe9"), "({'t': <[byte 0x63, 0x61, 0x66, 0xe9]>},)");
  EXPECT_EQ(writeText(std::string("a\0b", 3)), "({'t': <[byte 0x61, 0x00, 0x62]>},)");
  EXPECT_EQ(writeText("\xc3"), "({'t': <[byte 0xc3]>},)");
  EXPECT_EQ(writeText("\xed\xa0\x80"), "({'t': <[byte 0xed, 0xa0, 0x80]>},)");
}

TEST_F(ArgumentsTest, WritesControlCharactersAsText) {
  EXPECT_EQ(writeText("\x01\x7f"), "({'t': <'\\u0001\\u007f'>},)");
}

TEST_F(ArgumentsTest, MakesNamesValidUtf8) {
  Method method("x", Method::REPLY);
  method.addIntParameter("n\xff", 1, Parameter::OUT);
  EXPECT_EQ(write(method, Parameter::OUT), "({'n\xef\xbf\xbd': <1>},)");
}

}  // namespace
