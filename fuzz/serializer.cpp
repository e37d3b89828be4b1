// The messages of the bus, as JSON.
//
// Promised: bytes are a message, or none and nothing changes; a message that was read is written as
// one line, and read back as an equal one; so is one that was put together from any bytes, unless
// a name in it is no UTF-8, which fails the writing and writes nothing.

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
  require(result == 0 || result == 1, "decoding gives 1 or 0");
  return result == 1;
}

void checkWritten(const std::string& text, const Method& method) {
  for (const char c : text) {
    require(static_cast<std::uint8_t>(c) >= ' ', "a message is one line");
  }
  Method again = untouched();
  require(decode(text, again), "what was encoded can be decoded");
  require(areSame(again, method), "what was encoded decodes to an equal message");
}

void checkReading(std::string_view bytes) {
  Method method = untouched();
  if (!decode(bytes, method)) {
    require(areSame(method, untouched()), "what is no message changes nothing");
    return;
  }
  std::ostringstream out;
  JsonMessageSerializer().encode(method, out);
  require(out.good(), "what was read can be written");
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

/// A message whose parts are the bytes, each part behind its length.
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
    require(out.str().empty(), "a message that can't be written leaves nothing behind");
    std::string names = method.getName();
    for (const Parameter& parameter : method.getParameters()) names += parameter.name;
    const bool plain = std::all_of(names.begin(), names.end(),
                                   [](char c) { return static_cast<std::uint8_t>(c) < 0x80; });
    require(!plain, "a message of plain names can be written, whatever its values are");
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
