#include "framework/JsonMessageSerializer.h"

#include <array>
#include <istream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include "Base64.h"
#include "JsonMessageReader.h"
#include "Utf8.h"
#include "framework/Method.h"

using framework_detail::JsonMessageReader;
using nlohmann::ordered_json;

namespace {

std::string readAll(std::istream& in) {
  std::string text;
  std::array<char, 16384> block;
  while (in.good()) {
    in.read(block.data(), block.size());
    text.append(block.data(), static_cast<std::size_t>(in.gcount()));
  }
  if (in.bad()) throw std::runtime_error("the stream broke off");
  return text;
}

Method parseMessage(const std::string& text) {
  // The parser would take a NUL behind the message for the end of the input.
  if (text.find('\0') != std::string::npos) throw std::runtime_error("a NUL in the message");
  JsonMessageReader reader;
  if (!nlohmann::json::sax_parse(text, &reader)) throw std::runtime_error("not a message");
  return reader.message();
}

// Type and value as they stand in the message.
std::pair<const char*, ordered_json> describe(const Parameter::Value& value) {
  if (const auto* flag = std::get_if<bool>(&value)) return {"bool", *flag};
  if (const auto* number = std::get_if<int>(&value)) return {"int", *number};
  const auto& text = std::get<std::string>(value);
  if (text.find('\0') == std::string::npos && framework_detail::isUtf8(text)) {
    return {"string", text};
  }
  return {"bytes", framework_detail::encodeBase64(text)};
}

std::string compose(const Method& method) {
  ordered_json parameters = ordered_json::array();
  for (const Parameter& parameter : method.getParameters()) {
    auto [type, value] = describe(parameter.value);
    ordered_json entry;
    entry["name"] = parameter.name;
    entry["type"] = type;
    entry["direction"] = static_cast<int>(parameter.direction);
    entry["value"] = std::move(value);
    parameters.push_back(std::move(entry));
  }
  ordered_json message;
  message["name"] = method.getName();
  message["type"] = static_cast<int>(method.getType());
  message["parameters"] = std::move(parameters);
  return message.dump();
}

}  // namespace

int JsonMessageSerializer::decode(std::istream& in, Method& method) {
  try {
    method = parseMessage(readAll(in));
    return 1;
  } catch (...) {
    return 0;
  }
}

void JsonMessageSerializer::encode(const Method& method, std::ostream& out) {
  try {
    const std::string text = compose(method);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
  } catch (...) {
    try {
      out.setstate(std::ios_base::failbit);
    } catch (...) {
      // The stream was asked to throw; it is marked as failed all the same.
    }
  }
}
