// Messages as JSON.
//
// Contract: decoding fails without an effect or gives a message. A decoded message, and any message
// whose names are UTF-8, is encoded as one line that decodes to an equal message. Encoding a name
// that is not UTF-8 fails and writes nothing.

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "framework/JsonMessageSerializer.h"
#include "framework/Method.h"
#include "fuzz/support/Contract.h"

namespace fuzz {
namespace {

bool areSame(const Method& left, const Method& right) {
  const auto sameParameter = [](const Parameter& a, const Parameter& b) {
    return a.name == b.name && a.direction == b.direction && a.value == b.value;
  };
  return left.getName() == right.getName() && left.getType() == right.getType() &&
         std::equal(left.getParameters().begin(), left.getParameters().end(),
                    right.getParameters().begin(), right.getParameters().end(), sameParameter);
}

Method untouched() {
  Method method("untouched", Method::REPLY);
  method.addIntParameter("answer", 42, Parameter::OUT);
  return method;
}

bool decode(std::string_view bytes, Method& method) {
  std::istringstream in{std::string(bytes)};
  const int result = JsonMessageSerializer().decode(in, method);
  require(result == 0 || result == 1, "decode returns 1 or 0");
  return result == 1;
}

void checkWritten(const std::string& text, const Method& method) {
  for (const char c : text) {
    require(static_cast<std::uint8_t>(c) >= ' ', "a message is one line");
  }
  Method again = untouched();
  require(decode(text, again), "an encoded message can be decoded");
  require(areSame(again, method), "an encoded message decodes to an equal one");
}

void checkReading(std::string_view bytes) {
  Method method = untouched();
  if (!decode(bytes, method)) {
    require(areSame(method, untouched()), "a failed decode changes nothing");
    return;
  }
  std::ostringstream out;
  JsonMessageSerializer().encode(method, out);
  require(out.good(), "a decoded message can be encoded");
  checkWritten(out.str(), method);
}

std::string cutText(std::string_view& bytes) {
  if (bytes.empty()) return {};
  const std::size_t length = static_cast<std::uint8_t>(bytes[0]);
  bytes.remove_prefix(1);
  std::string text(bytes.substr(0, length));
  bytes.remove_prefix(text.size());
  return text;
}

/// Makes a message of the bytes, each part preceded by its length.
Method methodOf(std::string_view bytes) {
  const int kind = bytes.empty() ? 0 : static_cast<std::uint8_t>(bytes[0]) % 3;
  Method method(cutText(bytes), static_cast<Method::methodTypes>(kind));
  while (bytes.size() > 1) {
    const int choice = static_cast<std::uint8_t>(bytes[0]);
    bytes.remove_prefix(1);
    const auto direction = (choice & 1) != 0 ? Parameter::OUT : Parameter::IN;
    const std::string name = cutText(bytes);
    const std::string value = cutText(bytes);
    if ((choice & 6) == 2) {
      method.addBoolParameter(name, !value.empty(), direction);
    } else if ((choice & 6) == 4) {
      int number = 0;
      value.copy(reinterpret_cast<char*>(&number), sizeof number);
      method.addIntParameter(name, number, direction);
    } else {
      method.addStringParameter(name, value, direction);
    }
  }
  return method;
}

void checkWriting(const Method& method) {
  std::ostringstream out;
  JsonMessageSerializer().encode(method, out);
  if (out.good()) {
    checkWritten(out.str(), method);
  } else {
    require(out.str().empty(), "a failed encode writes nothing");
    std::string names = method.getName();
    for (const Parameter& parameter : method.getParameters()) names += parameter.name;
    const bool plain = std::all_of(names.begin(), names.end(),
                                   [](char c) { return static_cast<std::uint8_t>(c) < 0x80; });
    require(!plain, "a message with ASCII names can be encoded");
  }
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = fuzz::textOf(data, size);
  fuzz::checkReading(input);
  fuzz::checkWriting(fuzz::methodOf(input));
  return 0;
}
