// The vCard tokenizer, with handlers that record their calls.
//
// Contract: `parse` returns 1 or 0; handlers are called in the documented order, with
// zero-terminated texts; a refusal of data ends `parse`; a second tokenizer makes the same calls;
// tracing changes nothing.

#include <cstring>
#include <string>
#include <vector>

#include "fuzz/support/Contract.h"
#include "fuzz/support/Tracing.h"
#include "src/CARDCAL_Parser.h"
#include "tests/src/HandlerCall.h"
#include "tests/src/PlainTokenizer.h"

namespace fuzz {
namespace {

using test::HandlerCall;
using Kind = HandlerCall::Kind;
using Calls = std::vector<HandlerCall>;

/// Handlers refuse texts that begin with "!" and the end of data that begin with "?".
bool isAccepted(const Calls& calls) {
  const HandlerCall& last = calls.back();
  if (last.kind != Kind::End) return !last.text.starts_with('!');
  return calls.size() < 2 || calls[calls.size() - 2].kind != Kind::Data ||
         !calls[calls.size() - 2].text.starts_with('?');
}

class Recorder : public CARDCAL_Parser {
 public:
  explicit Recorder(std::size_t inputSize) : m_inputSize(inputSize) {}

  int groupHandler(const char* group) override {
    require(group != nullptr, "a group is not null");
    return take({Kind::Group, group, {}});
  }

  int propHandler(const char* name, const char** params) override {
    require(name != nullptr && params != nullptr, "a property has a name and a list");
    HandlerCall call{Kind::Property, name, {}};
    for (; params[0] != nullptr; params += 2) {
      call.parameters.push_back({params[0], std::nullopt});
      if (params[1] != nullptr) call.parameters.back().value = params[1];
      require(call.parameters.size() <= m_inputSize, "the list of parameters ends");
    }
    require(params[1] == nullptr, "the list of parameters ends with a pair of nulls");
    return take(std::move(call));
  }

  int dataHandler(const char* data, int len) override {
    if (data == nullptr) {
      require(len == 0, "the end of data has no length");
      return take({Kind::End, "", {}});
    }
    require(len > 0 && static_cast<std::size_t>(len) <= m_inputSize,
            "data are neither empty nor longer than the input");
    require(data[len] == '\0', "a zero byte follows the data");
    return take({Kind::Data, std::string(data, static_cast<std::size_t>(len)), {}});
  }

  Calls calls;

 private:
  int take(HandlerCall call) {
    checkOrder(call.kind);
    calls.push_back(std::move(call));
    const bool accepted = isAccepted(calls);
    const Kind kind = calls.back().kind;
    m_dataRefused = !accepted && (kind == Kind::Data || kind == Kind::End);
    m_expectsData = accepted && kind == Kind::Property;
    m_expectsEnd = accepted && kind == Kind::Data;
    return accepted ? 1 : 0;
  }

  void checkOrder(Kind kind) const {
    require(!m_dataRefused, "a refusal of data ends parse");
    const bool isData = kind == Kind::Data || kind == Kind::End;
    require(!m_expectsEnd || kind == Kind::End, "data are followed by their end");
    require(isData == (m_expectsData || m_expectsEnd), "data follow an accepted property, once");
  }

  const std::size_t m_inputSize;
  bool m_expectsData = false;
  bool m_expectsEnd = false;
  bool m_dataRefused = false;
};

class PlainRecorder : public test::PlainTokenizer {
 public:
  Calls calls;

 protected:
  bool onGroup(const std::string& group) override { return take({Kind::Group, group, {}}); }
  bool onProperty(const std::string& name,
                  const std::vector<test::PropertyParameter>& parameters) override {
    return take({Kind::Property, name, parameters});
  }
  bool onData(const std::string& data) override { return take({Kind::Data, data, {}}); }
  bool onEnd() override { return take({Kind::End, "", {}}); }

 private:
  bool take(HandlerCall call) {
    calls.push_back(std::move(call));
    return isAccepted(calls);
  }
};

struct Reading {
  int result;
  Calls calls;
  bool operator==(const Reading&) const = default;
};

Reading read(std::string_view input) {
  Recorder recorder(input.size());
  const int result = recorder.parse(reinterpret_cast<const unsigned char*>(input.data()),
                                    static_cast<int>(input.size()));
  require(result == 0 || result == 1, "parse returns 1 or 0");
  return {result, std::move(recorder.calls)};
}

Reading readPlainly(std::string_view input) {
  PlainRecorder recorder;
  const int result = recorder.parse(input) ? 1 : 0;
  return {result, std::move(recorder.calls)};
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::uint64_t kTracedShare = 16;
  const std::string_view input = fuzz::textOf(data, size);
  const fuzz::Reading reading = fuzz::read(input);
  fuzz::require(reading == fuzz::readPlainly(input), "both tokenizers make the same calls");
  if (fuzz::isSampled(input, kTracedShare)) {
    const fuzz::Tracing tracing;
    fuzz::require(fuzz::read(input) == reading, "tracing changes nothing");
  }
  return 0;
}
