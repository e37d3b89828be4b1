#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string_view>
#include <vector>

#include "src/CARDCAL_Parser.h"
#include "tests/src/HandlerCall.h"

namespace test {

/// A tokenizer whose handlers record their calls, and accept them unless told otherwise.
class RecordingParser : public CARDCAL_Parser {
 public:
  using CARDCAL_Parser::parse;
  int parse(std::string_view text) {
    return parse(reinterpret_cast<const unsigned char*>(text.data()),
                 static_cast<int>(text.size()));
  }

  int groupHandler(const char* group) override {
    return record({HandlerCall::Kind::Group, group, {}});
  }
  int propHandler(const char* name, const char** params) override {
    HandlerCall call{HandlerCall::Kind::Property, name, {}};
    for (; params[0] != nullptr; params += 2) {
      call.parameters.push_back({params[0], std::nullopt});
      if (params[1] != nullptr) call.parameters.back().value = params[1];
    }
    EXPECT_EQ(params[1], nullptr) << "the list ends with a pair of nulls";
    return record(call);
  }
  int dataHandler(const char* data, int len) override {
    if (data == nullptr) {
      EXPECT_EQ(len, 0);
      return record({HandlerCall::Kind::End, "", {}});
    }
    EXPECT_GT(len, 0);
    EXPECT_EQ(data[len], '\0') << "a zero byte follows the data";
    return record({HandlerCall::Kind::Data, std::string(data, static_cast<std::size_t>(len)), {}});
  }

  std::vector<HandlerCall> calls;
  std::function<bool(const HandlerCall&)> answer = [](const HandlerCall&) { return true; };

 private:
  int record(const HandlerCall& call) {
    calls.push_back(call);
    return answer(call) ? 1 : 0;
  }
};

}  // namespace test
