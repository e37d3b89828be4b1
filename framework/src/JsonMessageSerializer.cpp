#include "framework/JsonMessageSerializer.h"

#include <utf8.h>

#include <istream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include "framework/Method.h"

using nlohmann::json;
using nlohmann::ordered_json;

namespace {

// Depth of a parameter: message, list of parameters, parameter.
constexpr int kMaxDepth = 3;

std::string readAll(std::istream& in) {
  std::string text;
  std::string block(16384, '\0');
  while (in.good() && text.size() <= JsonMessageSerializer::kMaxMessage) {
    in.read(block.data(), static_cast<std::streamsize>(block.size()));
    text.append(block, 0, static_cast<std::size_t>(in.gcount()));
  }
  if (in.bad()) throw std::runtime_error("read error");
  if (text.size() > JsonMessageSerializer::kMaxMessage) throw std::runtime_error("too large");
  return text;
}

json parse(const std::string& text) {
  // The parser takes NUL for the end of the input and would ignore what follows.
  if (text.find('\0') != std::string::npos) throw std::runtime_error("NUL in the message");
  return json::parse(text, [](int depth, json::parse_event_t event, json&) {
    const bool opened =
        event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
    if (opened && depth >= kMaxDepth) throw std::runtime_error("nested too deeply");
    return true;
  });
}

// json::get<int>() would truncate fractions and large numbers.
int toInt(const json& value) {
  const bool fits = value.is_number_unsigned() ? std::in_range<int>(value.get<std::uint64_t>())
                                               : value.is_number_integer() &&
                                                     std::in_range<int>(value.get<std::int64_t>());
  if (!fits) throw std::runtime_error("not a 32-bit integer");
  return value.get<int>();
}

int toEnumerator(const json& value, int last) {
  const int number = toInt(value);
  if (number < 0 || number > last) throw std::runtime_error("unknown number");
  return number;
}

// "bytes" values are ISO 8859-1 in UTF-8: a character for each byte.
std::string toLatin1(const std::string& bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    utf8::append(static_cast<unsigned char>(byte), std::back_inserter(text));
  }
  return text;
}

std::string fromLatin1(const std::string& text) {
  std::string bytes;
  for (auto at = text.begin(); at != text.end();) {
    const auto byte = utf8::next(at, text.end());
    if (byte > 0xFF) throw std::runtime_error("not a byte");
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

void addParameter(Method& method, const json& parameter) {
  const auto& name = parameter.at("name").get_ref<const std::string&>();
  const auto& type = parameter.at("type").get_ref<const std::string&>();
  const auto direction =
      static_cast<Parameter::directions>(toEnumerator(parameter.at("direction"), Parameter::OUT));
  const json& value = parameter.at("value");
  if (type == "bool") {
    method.addBoolParameter(name, value.get<bool>(), direction);
  } else if (type == "int") {
    method.addIntParameter(name, toInt(value), direction);
  } else if (type == "string") {
    method.addStringParameter(name, value.get_ref<const std::string&>(), direction);
  } else if (type == "bytes") {
    method.addStringParameter(name, fromLatin1(value.get_ref<const std::string&>()), direction);
  } else {
    throw std::runtime_error("unknown type");
  }
}

Method toMethod(const json& message) {
  const int type = toEnumerator(message.at("type"), Method::REQUEST);
  Method method(message.at("name").get<std::string>(), static_cast<Method::methodTypes>(type));
  const auto& parameters = message.at("parameters").get_ref<const json::array_t&>();
  for (const json& parameter : parameters) addParameter(method, parameter);
  return method;
}

std::pair<const char*, ordered_json> typeAndValue(const Parameter::Value& value) {
  if (const auto* flag = std::get_if<bool>(&value)) return {"bool", *flag};
  if (const auto* number = std::get_if<int>(&value)) return {"int", *number};
  const auto& text = std::get<std::string>(value);
  if (utf8::is_valid(text.begin(), text.end())) return {"string", text};
  return {"bytes", toLatin1(text)};
}

std::string toText(const Method& method) {
  ordered_json parameters = ordered_json::array();
  for (const Parameter& parameter : method.getParameters()) {
    auto [type, value] = typeAndValue(parameter.value);
    parameters.push_back({{"name", parameter.name},
                          {"type", type},
                          {"direction", static_cast<int>(parameter.direction)},
                          {"value", std::move(value)}});
  }
  return ordered_json{{"name", method.getName()},
                      {"type", static_cast<int>(method.getType())},
                      {"parameters", std::move(parameters)}}
      .dump();
}

}  // namespace

int JsonMessageSerializer::decode(std::istream& in, Method& method) {
  try {
    method = toMethod(parse(readAll(in)));
    return 1;
  } catch (...) {
    return 0;
  }
}

void JsonMessageSerializer::encode(const Method& method, std::ostream& out) {
  try {
    const std::string text = toText(method);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
  } catch (...) {
    try {
      out.setstate(std::ios_base::failbit);
    } catch (...) {
      // The stream's exceptions() are on; failbit is set all the same.
    }
  }
}
