#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>

#include "tests/src/RecordingParser.h"

namespace test {

/// Feeds text to a tokenizer and checks the calls of its handlers in order. Calls left over at the
/// end of a test fail it.
class TokenizerTest : public ::testing::Test {
 protected:
  using Parameters = std::vector<PropertyParameter>;

  void TearDown() override {
    for (std::size_t i = m_expected; i < parser.calls.size() && !HasFailure(); ++i) {
      ADD_FAILURE() << "call that wasn't expected: " << parser.calls[i];
    }
  }

  /// Reads the text, zero bytes included, and expects success.
  void Feed(std::string_view text) { EXPECT_EQ(parser.parse(text), 1) << readable(text); }
  void FeedAndFail(std::string_view text) { EXPECT_EQ(parser.parse(text), 0) << readable(text); }

  void ExpectGroup(std::string_view group) {
    ExpectCall({HandlerCall::Kind::Group, std::string(group), {}});
  }
  void ExpectProperty(std::string_view name, const Parameters& parameters = {}) {
    ExpectCall({HandlerCall::Kind::Property, std::string(name), parameters});
  }
  void ExpectData(std::string_view data) {
    ExpectCall({HandlerCall::Kind::Data, std::string(data), {}});
  }
  void ExpectEnd() { ExpectCall({HandlerCall::Kind::End, "", {}}); }
  /// Expects one call with data and the end of the property.
  void ExpectWholeData(std::string_view data) {
    ExpectData(data);
    ExpectEnd();
  }
  /// Expects a property without parameters, with its data.
  void ExpectLine(std::string_view name, std::string_view data) {
    ExpectProperty(name);
    ExpectWholeData(data);
  }
  /// Expects encoded text to decode to these data.
  void ExpectQuotedPrintable(std::string_view encoded, std::string_view data) {
    Feed("N;QUOTED-PRINTABLE:" + std::string(encoded));
    ExpectProperty("N", {Bare("QUOTED-PRINTABLE")});
    ExpectWholeData(data);
  }
  void ExpectBase64(std::string_view encoded, std::string_view data) {
    Feed("N;BASE64:" + std::string(encoded));
    ExpectProperty("N", {Bare("BASE64")});
    ExpectWholeData(data);
  }
  void ExpectBrokenBase64(std::string_view encoded) {
    FeedAndFail("N;BASE64:" + std::string(encoded));
    ExpectProperty("N", {Bare("BASE64")});
  }

  static PropertyParameter Bare(std::string_view name) { return {std::string(name), std::nullopt}; }
  static PropertyParameter With(std::string_view name, std::string_view value) {
    return {std::string(name), std::string(value)};
  }

  /// From now on handlers refuse calls of this kind.
  void Refuse(HandlerCall::Kind kind) {
    parser.answer = [kind](const HandlerCall& call) { return call.kind != kind; };
  }
  /// Handlers refuse their first `count` calls.
  void RefuseFirst(int count) {
    parser.answer = [count](const HandlerCall&) mutable { return count-- <= 0; };
  }

  RecordingParser parser;

 private:
  void ExpectCall(const HandlerCall& call) {
    ASSERT_LT(m_expected, parser.calls.size()) << "no call left for: " << call;
    EXPECT_EQ(parser.calls[m_expected], call);
    ++m_expected;
  }

  std::size_t m_expected = 0;
};

}  // namespace test
