#include "framework/JsonMessageSerializer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>

#include "framework/Method.h"

namespace {

using testing::HasSubstr;

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define SLOW_SANITIZER
#endif
#endif

// As large as a message with the largest picture; less under the thread sanitizer, which checks
// every access.
#ifdef SLOW_SANITIZER
constexpr std::size_t kLargest = 1u << 20;
#else
constexpr std::size_t kLargest = 25u << 20;
#endif
// Enough to exhaust the stack of a recursive parser.
constexpr std::size_t kBomb = std::min<std::size_t>(kLargest, 6u << 20);

class JsonMessageSerializerTest : public testing::Test {
 protected:
  std::string Encode(const Method& method) {
    std::ostringstream out;
    m_serializer.encode(method, out);
    EXPECT_TRUE(out.good());
    return out.str();
  }
  Method Decode(const std::string& text) {
    Method method;
    std::istringstream in(text);
    EXPECT_EQ(m_serializer.decode(in, method), 1) << text.substr(0, 200);
    return method;
  }
  void ExpectRefused(const std::string& text) {
    Method method("before", Method::REPLY);
    method.addIntParameter("kept", 1, Parameter::IN);
    std::istringstream in(text);
    EXPECT_EQ(m_serializer.decode(in, method), 0) << text.substr(0, 200);
    EXPECT_EQ(method.getName(), "before");
    EXPECT_EQ(method.getParameters().size(), 1u);
  }
  // Puts the parameter into a message that is valid otherwise.
  void ExpectParameterRefused(const std::string& parameter) {
    ExpectRefused(R"({"name":"n","type":0,"parameters":[)" + parameter + "]}");
  }
  Parameter DecodeParameter(const std::string& parameter) {
    const Method method = Decode(R"({"name":"n","type":0,"parameters":[)" + parameter + "]}");
    EXPECT_EQ(method.getParameters().size(), 1u);
    return method.getParameters().empty() ? Parameter{} : method.getParameters().front();
  }
  void ExpectRoundTrip(const Method& method) {
    const Method back = Decode(Encode(method));
    EXPECT_EQ(back.getName(), method.getName());
    EXPECT_EQ(back.getType(), method.getType());
    ASSERT_EQ(back.getParameters().size(), method.getParameters().size());
    for (std::size_t index = 0; index < method.getParameters().size(); ++index) {
      const Parameter& one = method.getParameters()[index];
      const Parameter& other = back.getParameters()[index];
      EXPECT_EQ(one.name, other.name);
      EXPECT_EQ(one.direction, other.direction);
      EXPECT_TRUE(one.value == other.value);
    }
  }
  static Method WithText(const std::string& text) {
    Method method("event", Method::NOTIFICATION);
    method.addStringParameter("textParam", text, Parameter::IN);
    return method;
  }

  JsonMessageSerializer m_serializer;
};

TEST_F(JsonMessageSerializerTest, WritesTheDocumentedFormat) {
  Method method("vCardSendEvent", Method::REQUEST);
  method.addIntParameter("channelParam", 4, Parameter::IN);
  EXPECT_EQ(Encode(method), R"({"name":"vCardSendEvent","type":2,"parameters":[)"
                            R"({"name":"channelParam","type":"int","direction":0,"value":4}]})");
}

TEST_F(JsonMessageSerializerTest, NamesTheTypeOfEachValue) {
  Method method("reply", Method::REPLY);
  method.addBoolParameter("b", true, Parameter::OUT);
  method.addStringParameter("s", "Åsa", Parameter::IN);
  method.addStringParameter("y", "\xff", Parameter::IN);
  EXPECT_EQ(Encode(method), R"({"name":"reply","type":1,"parameters":[)"
                            R"({"name":"b","type":"bool","direction":1,"value":true},)"
                            R"({"name":"s","type":"string","direction":0,"value":"Åsa"},)"
                            R"({"name":"y","type":"bytes","direction":0,"value":"ÿ"}]})");
}

TEST_F(JsonMessageSerializerTest, WritesAnEmptyListWithoutParameters) {
  EXPECT_EQ(Encode(Method("vCardCancelEvent", Method::REQUEST)),
            R"({"name":"vCardCancelEvent","type":2,"parameters":[]})");
}

TEST_F(JsonMessageSerializerTest, WritesOneLineWhenStringsHoldControlCharacters) {
  const std::string text = Encode(WithText("BEGIN:VCARD\r\nN:x\t\x1b\x7f\"\\\n"));
  EXPECT_EQ(text.find_first_of("\r\n\t\x1b"), std::string::npos);
  ExpectRoundTrip(WithText("BEGIN:VCARD\r\nN:x\t\x1b\x7f\"\\\n"));
}

TEST_F(JsonMessageSerializerTest, KeepsValuesOfEveryType) {
  Method method("event", Method::REQUEST);
  method.addBoolParameter("b", true, Parameter::IN);
  method.addBoolParameter("b", false, Parameter::OUT);
  for (const int number : {0, 1, -1, INT_MAX, INT_MIN}) {
    method.addIntParameter("i", number, Parameter::IN);
  }
  method.addStringParameter("s", "", Parameter::IN);
  method.addStringParameter("s", "Åsa €😀", Parameter::OUT);
  ExpectRoundTrip(method);
}

TEST_F(JsonMessageSerializerTest, KeepsMessagesOfEveryType) {
  ExpectRoundTrip(Method("a", Method::NOTIFICATION));
  ExpectRoundTrip(Method("b", Method::REPLY));
  ExpectRoundTrip(Method("c", Method::REQUEST));
  ExpectRoundTrip(Method());
}

TEST_F(JsonMessageSerializerTest, WritesStringsThatAreNotUtf8AsBytes) {
  for (const char* text :
       {"\xff", "\xc3", "a\xc3\xb6\xff", "\xed\xa0\x80", "\xc0\x80", "\xf4\x90\x80\x80"}) {
    EXPECT_THAT(Encode(WithText(text)), HasSubstr(R"("type":"bytes")"));
    ExpectRoundTrip(WithText(text));
  }
}

TEST_F(JsonMessageSerializerTest, KeepsEveryByteOfAString) {
  for (int byte = 0; byte < 256; ++byte) {
    ExpectRoundTrip(WithText(std::string(1, static_cast<char>(byte))));
    ExpectRoundTrip(WithText("a" + std::string(2, static_cast<char>(byte)) + "b"));
  }
}

TEST_F(JsonMessageSerializerTest, KeepsRandomBytes) {
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    std::string text;
    while (text.size() < random() % 64) text += static_cast<char>(random() % 256);
    ExpectRoundTrip(WithText(text));
  }
}

TEST_F(JsonMessageSerializerTest, KeepsTheLargestStrings) {
  ExpectRoundTrip(WithText(std::string(kLargest, 'x')));
  ExpectRoundTrip(WithText(std::string(kLargest, '\n')));
  ExpectRoundTrip(WithText(std::string(kLargest, '\xff')));
}

TEST_F(JsonMessageSerializerTest, SetsFailbitAndWritesNothingWhenANameIsNotUtf8) {
  std::ostringstream out;
  m_serializer.encode(Method("\xff", Method::REQUEST), out);
  EXPECT_TRUE(out.fail());
  EXPECT_EQ(out.str(), "");
}

TEST_F(JsonMessageSerializerTest, KeepsEveryCharacterOfAName) {
  ExpectRoundTrip(Method(std::string("a\0\"\\\nÅ", 7), Method::REQUEST));
}

TEST_F(JsonMessageSerializerTest, ReadsKeysInAnyOrder) {
  const Method method = Decode(
      R"({"parameters":[{"value":5,"direction":1,"type":"int","name":"p"}],"type":2,"name":"n"})");
  EXPECT_EQ(method.getName(), "n");
  int value = 0;
  EXPECT_TRUE(method.getIntParameter("p", value, Parameter::OUT));
  EXPECT_EQ(value, 5);
}

TEST_F(JsonMessageSerializerTest, IgnoresWhiteSpace) {
  EXPECT_EQ(Decode(" \r\n{ \"name\" : \"n\" , \"type\":0,\t\"parameters\":[ ] }\n").getName(), "n");
}

TEST_F(JsonMessageSerializerTest, IgnoresUnknownKeys) {
  EXPECT_EQ(Decode(R"({"x":null,"name":"n","x":[1,{}],"y":{"name":5,"z":[2]},"type":0,)"
                   R"("w":1.5,"direction":7,"value":"v","parameters":[]})")
                .getName(),
            "n");
  EXPECT_EQ(DecodeParameter(R"({"name":"p","x":null,"type":"int","parameters":3,"direction":0,)"
                            R"("value":1})")
                .name,
            "p");
}

TEST_F(JsonMessageSerializerTest, ReadsEscapes) {
  EXPECT_EQ(
      std::get<std::string>(
          DecodeParameter(
              R"({"name":"p","type":"string","direction":0,"value":"\u00c5\ud83d\ude00\u0000\n"})")
              .value),
      std::string("Å😀\0\n", 8));
}

TEST_F(JsonMessageSerializerTest, ReadsTheSmallestAndLargestInt) {
  const auto read = [this](const std::string& number) {
    return std::get<int>(
        DecodeParameter(R"({"name":"p","type":"int","direction":0,"value":)" + number + "}").value);
  };
  EXPECT_EQ(read("2147483647"), INT_MAX);
  EXPECT_EQ(read("-2147483648"), INT_MIN);
  EXPECT_EQ(read("-0"), 0);
}

TEST_F(JsonMessageSerializerTest, RefusesIntsOutOfRange) {
  for (const char* number :
       {"2147483648", "-2147483649", "4294967296", "9223372036854775807", "-9223372036854775808",
        "9223372036854775808", "18446744073709551615", "18446744073709551616", "1e999", "1e2",
        "1.0", "-", "+1", "01", "0x1", "NaN", "Infinity"}) {
    ExpectParameterRefused(std::string(R"({"name":"p","type":"int","direction":0,"value":)") +
                           number + "}");
  }
}

TEST_F(JsonMessageSerializerTest, RefusesValuesThatAreNotOfTheNamedType) {
  const std::set<std::pair<std::string, std::string>> fitting{
      {"bool", "true"}, {"int", "5"}, {"string", "\"Zg\""}, {"bytes", "\"Zg\""}};
  for (const std::string type : {"bool", "int", "string", "bytes"}) {
    for (const std::string value : {"true", "5", "\"Zg\"", "null", "[]", "{}", "1.5"}) {
      const std::string parameter =
          R"({"name":"p","direction":0,"type":")" + type + R"(","value":)" + value + "}";
      if (fitting.count({type, value}) != 0) {
        DecodeParameter(parameter);
      } else {
        ExpectParameterRefused(parameter);
      }
    }
  }
}

TEST_F(JsonMessageSerializerTest, RefusesUnknownTypesAndDirections) {
  ExpectParameterRefused(R"({"name":"p","type":"Int","direction":0,"value":5})");
  ExpectParameterRefused(R"({"name":"p","type":"","direction":0,"value":5})");
  ExpectParameterRefused(R"({"name":"p","type":5,"direction":0,"value":5})");
  ExpectParameterRefused(R"({"name":"p","type":"int","direction":2,"value":5})");
  ExpectParameterRefused(R"({"name":"p","type":"int","direction":-1,"value":5})");
  ExpectParameterRefused(R"({"name":"p","type":"int","direction":"0","value":5})");
  ExpectParameterRefused(R"({"name":"p","type":"int","direction":4294967296,"value":5})");
}

TEST_F(JsonMessageSerializerTest, RefusesUnknownMessageTypes) {
  for (const char* type : {"3", "-1", "1.0", "\"2\"", "null", "true", "4294967296", "[]"}) {
    ExpectRefused(std::string(R"({"name":"n","parameters":[],"type":)") + type + "}");
  }
}

TEST_F(JsonMessageSerializerTest, RefusesAMissingKey) {
  ExpectRefused(R"({"type":0,"parameters":[]})");
  ExpectRefused(R"({"name":"n","parameters":[]})");
  ExpectRefused(R"({"name":"n","type":0})");
  ExpectRefused("{}");
  ExpectParameterRefused(R"({"type":"int","direction":0,"value":5})");
  ExpectParameterRefused(R"({"name":"p","direction":0,"value":5})");
  ExpectParameterRefused(R"({"name":"p","type":"int","value":5})");
  ExpectParameterRefused(R"({"name":"p","type":"int","direction":0})");
  ExpectParameterRefused("{}");
}

TEST_F(JsonMessageSerializerTest, RefusesAnIncompleteParameterAfterACompleteOne) {
  ExpectParameterRefused(R"({"name":"p","type":"int","direction":0,"value":5},{"name":"q"})");
}

TEST_F(JsonMessageSerializerTest, TakesTheLastOfRepeatedKeys) {
  EXPECT_EQ(Decode(R"({"name":"n","name":"m","type":0,"parameters":[]})").getName(), "m");
}

TEST_F(JsonMessageSerializerTest, RefusesPartsOfAnotherKind) {
  ExpectRefused(R"({"name":5,"type":0,"parameters":[]})");
  ExpectRefused(R"({"name":["n"],"type":0,"parameters":[]})");
  ExpectRefused(R"({"name":"n","type":0,"parameters":{}})");
  ExpectRefused(R"({"name":"n","type":0,"parameters":null})");
  ExpectRefused(R"({"name":"n","type":0,"parameters":[5]})");
  ExpectRefused(R"({"name":"n","type":0,"parameters":[[]]})");
  ExpectRefused(R"({"name":"n","type":0,"parameters":[null]})");
}

TEST_F(JsonMessageSerializerTest, RefusesWhatIsNotAnObject) {
  for (const char* text : {"", " ", "null", "5", "\"n\"", "[]", "[{}]", "true", "{", "}"}) {
    ExpectRefused(text);
  }
}

TEST_F(JsonMessageSerializerTest, RefusesTextAfterTheMessage) {
  const std::string message = R"({"name":"n","type":0,"parameters":[]})";
  ExpectRefused(message + "x");
  ExpectRefused(message + ",");
  ExpectRefused(message + "}");
  ExpectRefused(message + message);
  ExpectRefused(message + "\n" + message);
  ExpectRefused(message + std::string(1, '\0'));
  ExpectRefused(message + std::string("\0{}", 3));
}

TEST_F(JsonMessageSerializerTest, RefusesEveryTruncatedMessage) {
  Method method("event", Method::REQUEST);
  method.addBoolParameter("b", true, Parameter::IN);
  method.addStringParameter("s", "Å\xff", Parameter::IN);
  const std::string text = Encode(method);
  for (std::size_t length = 0; length < text.size(); ++length) {
    ExpectRefused(text.substr(0, length));
  }
}

TEST_F(JsonMessageSerializerTest, RefusesUnescapedControlCharacters) {
  ExpectRefused(std::string("{\"name\":\"n\0\",\"type\":0,\"parameters\":[]}", 39));
  ExpectRefused(std::string("{\0\"name\":\"n\",\"type\":0,\"parameters\":[]}", 39));
  ExpectRefused("{\"name\":\"a\nb\",\"type\":0,\"parameters\":[]}");
}

TEST_F(JsonMessageSerializerTest, RefusesInvalidUtf8) {
  for (const char* bytes : {"\xff", "\xc3", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
    ExpectRefused(std::string(R"({"name":")") + bytes + R"(","type":0,"parameters":[]})");
  }
}

TEST_F(JsonMessageSerializerTest, RefusesHalfASurrogatePair) {
  ExpectRefused(R"({"name":"\ud83d","type":0,"parameters":[]})");
  ExpectRefused(R"({"name":"\ude00","type":0,"parameters":[]})");
}

TEST_F(JsonMessageSerializerTest, RefusesCharactersAboveAByteInBytes) {
  for (const char* value : {"\\u0100", "a€", "😀"}) {
    ExpectParameterRefused(std::string(R"({"name":"p","type":"bytes","direction":0,"value":")") +
                           value + "\"}");
  }
}

TEST_F(JsonMessageSerializerTest, RefusesNestingDeeperThanTheFormat) {
  ExpectRefused(R"({"name":"n","type":0,"parameters":[],"x":[[[]]]})");
  ExpectParameterRefused(R"({"name":"p","type":"int","direction":0,"value":5,"x":[]})");
}

TEST_F(JsonMessageSerializerTest, RefusesMegabytesOfNestingDigitsOrSpace) {
  ExpectRefused(std::string(kBomb, '['));
  ExpectRefused(R"({"x":)" + std::string(kBomb, '['));
  std::string objects;
  while (objects.size() < kBomb) objects += "{\"a\":";
  ExpectRefused(objects);
  ExpectRefused(R"({"name":"n","type":)" + std::string(kBomb, '9') + R"(,"parameters":[]})");
  ExpectRefused("\"" + std::string(kBomb, 'x'));
  ExpectRefused(std::string(kBomb, ' '));
}

// An endless text; counts how much of it was read.
class EndlessBuffer : public std::streambuf {
 public:
  std::size_t m_read = 0;

 private:
  int_type underflow() override {
    setg(m_block.data(), m_block.data(), m_block.data() + m_block.size());
    m_read += m_block.size();
    return ' ';
  }
  std::string m_block = std::string(1 << 20, ' ');
};

TEST_F(JsonMessageSerializerTest, StopsReadingAtTheMaximumSize) {
  EndlessBuffer buffer;
  std::istream in(&buffer);
  Method method;
  EXPECT_EQ(m_serializer.decode(in, method), 0);
  EXPECT_LE(buffer.m_read, JsonMessageSerializer::kMaxMessage + (2u << 20));
}

TEST_F(JsonMessageSerializerTest, NeverThrowsWhenBytesOfAMessageChange) {
  Method method("event", Method::REQUEST);
  method.addIntParameter("i", 5, Parameter::IN);
  method.addStringParameter("s", "Å\xff", Parameter::OUT);
  const std::string text = Encode(method);
  std::mt19937 random(3);
  for (int round = 0; round < 3000; ++round) {
    std::string changed = text;
    for (int change = 0; change < 2; ++change) {
      changed[random() % changed.size()] = static_cast<char>(random() % 256);
    }
    std::istringstream in(changed);
    Method decoded;
    if (m_serializer.decode(in, decoded) == 1) ExpectRoundTrip(decoded);
  }
}

// Throws on every access.
class BrokenBuffer : public std::streambuf {
  int_type underflow() override { throw std::runtime_error("gone"); }
  int_type overflow(int_type) override { throw std::runtime_error("gone"); }
};

TEST_F(JsonMessageSerializerTest, RefusesABrokenStream) {
  BrokenBuffer buffer;
  std::istream in(&buffer);
  Method method("before", Method::REPLY);
  EXPECT_EQ(m_serializer.decode(in, method), 0);
  EXPECT_EQ(method.getName(), "before");
}

TEST_F(JsonMessageSerializerTest, NeverThrowsWhenTheStreamDoes) {
  BrokenBuffer buffer;
  std::iostream stream(&buffer);
  stream.exceptions(std::ios::badbit | std::ios::failbit | std::ios::eofbit);
  Method method("before", Method::REPLY);
  EXPECT_EQ(m_serializer.decode(stream, method), 0);
  m_serializer.encode(method, stream);
  EXPECT_TRUE(stream.fail());
}

TEST_F(JsonMessageSerializerTest, ReadsAStreamWithExceptionsOn) {
  std::istringstream in(R"({"name":"n","type":0,"parameters":[]})");
  in.exceptions(std::ios::badbit);
  Method method;
  EXPECT_EQ(m_serializer.decode(in, method), 1);
  EXPECT_EQ(method.getName(), "n");
}

TEST_F(JsonMessageSerializerTest, HasAFormatName) {
  EXPECT_STREQ(JsonMessageSerializer::formatName(), "json");
}

}  // namespace
