#include "JsonMessageReader.h"

#include <limits>
#include <utility>

#include "Base64.h"

namespace framework_detail {
namespace {

// The message, its list of parameters, a parameter.
constexpr unsigned kMaxDepth = 3;

// Puts a value of the right type into a field that is still empty.
template <typename Type, typename Variant>
bool fill(std::optional<Type>& field, Variant& value) {
  auto* const held = std::get_if<Type>(&value);
  if (held == nullptr || field) return false;
  field = std::move(*held);
  return true;
}

}  // namespace

bool JsonMessageReader::null() { return takeScalar({}); }

bool JsonMessageReader::boolean(bool value) { return takeScalar(value); }

bool JsonMessageReader::number_integer(number_integer_t value) { return takeScalar(value); }

bool JsonMessageReader::number_unsigned(number_unsigned_t value) {
  if (value > static_cast<number_unsigned_t>(std::numeric_limits<std::int64_t>::max())) {
    return takeScalar({});
  }
  return takeScalar(static_cast<std::int64_t>(value));
}

bool JsonMessageReader::number_float(number_float_t, const string_t&) { return takeScalar({}); }

bool JsonMessageReader::string(string_t& value) { return takeScalar(std::move(value)); }

bool JsonMessageReader::binary(binary_t&) { return false; }

bool JsonMessageReader::takeScalar(Scalar value) {
  switch (m_place) {
    case Place::kMessage:
      return takeMessageScalar(value);
    case Place::kParameter:
      return takeParameterScalar(value);
    case Place::kIgnored:
      return true;
    case Place::kOutside:
    case Place::kParameters:
      return false;
  }
  return false;
}

bool JsonMessageReader::takeMessageScalar(Scalar& value) {
  switch (m_key) {
    case Key::kName:
      return fill(m_messageFields.name, value);
    case Key::kType:
      return fill(m_messageFields.number, value);
    case Key::kParameters:
      return false;
    default:
      return true;
  }
}

bool JsonMessageReader::takeParameterScalar(Scalar& value) {
  switch (m_key) {
    case Key::kName:
      return fill(m_parameterFields.name, value);
    case Key::kType:
      return fill(m_parameterFields.typeName, value);
    case Key::kDirection:
      return fill(m_parameterFields.number, value);
    case Key::kValue:
      if (m_parameterFields.value) return false;
      m_parameterFields.value = std::move(value);
      return true;
    default:
      return true;
  }
}

bool JsonMessageReader::key(string_t& name) {
  m_key = Key::kUnknown;
  const bool inMessage = m_place == Place::kMessage;
  const bool inParameter = m_place == Place::kParameter;
  if (inMessage || inParameter) {
    if (name == "name") m_key = Key::kName;
    if (name == "type") m_key = Key::kType;
  }
  if (inMessage && name == "parameters") m_key = Key::kParameters;
  if (inParameter && name == "direction") m_key = Key::kDirection;
  if (inParameter && name == "value") m_key = Key::kValue;
  return true;
}

bool JsonMessageReader::enterIgnored() {
  if (m_place != Place::kIgnored) {
    if (m_key != Key::kUnknown) return false;
    m_ignoredIn = m_place;
    m_place = Place::kIgnored;
  }
  ++m_ignoredDepth;
  return true;
}

bool JsonMessageReader::leaveIgnored() {
  if (--m_ignoredDepth == 0) m_place = m_ignoredIn;
  return true;
}

bool JsonMessageReader::start_object(std::size_t) {
  if (++m_depth > kMaxDepth) return false;
  switch (m_place) {
    case Place::kOutside:
      m_place = Place::kMessage;
      return true;
    case Place::kParameters:
      m_place = Place::kParameter;
      m_parameterFields = {};
      return true;
    default:
      return enterIgnored();
  }
}

bool JsonMessageReader::end_object() {
  --m_depth;
  switch (m_place) {
    case Place::kMessage:
      return finishMessage();
    case Place::kParameter:
      return finishParameter();
    default:
      return leaveIgnored();
  }
}

bool JsonMessageReader::start_array(std::size_t) {
  if (++m_depth > kMaxDepth) return false;
  if (m_place == Place::kOutside || m_place == Place::kParameters) return false;
  if (m_place != Place::kMessage || m_key != Key::kParameters) return enterIgnored();
  if (m_messageFields.parameters) return false;
  m_messageFields.parameters = true;
  m_place = Place::kParameters;
  return true;
}

bool JsonMessageReader::end_array() {
  --m_depth;
  if (m_place == Place::kIgnored) return leaveIgnored();
  m_place = Place::kMessage;
  return true;
}

bool JsonMessageReader::parse_error(std::size_t, const std::string&,
                                    const nlohmann::detail::exception&) {
  return false;
}

bool JsonMessageReader::finishMessage() {
  m_place = Place::kOutside;
  const Fields& fields = m_messageFields;
  if (!fields.name || !fields.number || !fields.parameters) return false;
  if (*fields.number < Method::NOTIFICATION || *fields.number > Method::REQUEST) return false;
  m_message = Method(*fields.name, static_cast<Method::methodTypes>(*fields.number));
  for (Parameter& parameter : m_parameters) {
    if (const auto* flag = std::get_if<bool>(&parameter.value)) {
      m_message.addBoolParameter(parameter.name, *flag, parameter.direction);
    } else if (const auto* number = std::get_if<int>(&parameter.value)) {
      m_message.addIntParameter(parameter.name, *number, parameter.direction);
    } else {
      auto& text = std::get<std::string>(parameter.value);
      m_message.addStringParameter(parameter.name, text, parameter.direction);
      text = {};  // it may be a large one
    }
  }
  return true;
}

bool JsonMessageReader::finishParameter() {
  m_place = Place::kParameters;
  const Fields& fields = m_parameterFields;
  if (!fields.name || !fields.typeName || !fields.number || !fields.value) return false;
  if (*fields.number != Parameter::IN && *fields.number != Parameter::OUT) return false;
  return addParameter();
}

bool JsonMessageReader::addParameter() {
  Parameter parameter;
  const std::string& type = *m_parameterFields.typeName;
  Scalar& value = *m_parameterFields.value;
  auto* const text = std::get_if<std::string>(&value);
  if (const auto* flag = std::get_if<bool>(&value); flag != nullptr && type == "bool") {
    parameter.value = *flag;
  } else if (const auto* number = std::get_if<std::int64_t>(&value);
             number != nullptr && type == "int" && *number >= std::numeric_limits<int>::min() &&
             *number <= std::numeric_limits<int>::max()) {
    parameter.value = static_cast<int>(*number);
  } else if (text != nullptr && type == "string") {
    parameter.value = std::move(*text);
  } else if (text != nullptr && type == "bytes") {
    if (!decodeBase64(*text, parameter.value.emplace<std::string>())) return false;
  } else {
    return false;
  }
  parameter.name = std::move(*m_parameterFields.name);
  parameter.direction = static_cast<Parameter::directions>(*m_parameterFields.number);
  m_parameters.push_back(std::move(parameter));
  return true;
}

}  // namespace framework_detail
