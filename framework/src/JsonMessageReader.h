#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <variant>

#include "framework/Method.h"

namespace framework_detail {

/// Builds a `Method` from the events of a JSON parser. Nothing but the message itself is kept,
/// so that memory stays in proportion to the message whatever the input is made of. Every event
/// returns false, which ends the parsing, as soon as the input can't be a message any more.
///
/// Threads: one.
class JsonMessageReader : public nlohmann::json_sax<nlohmann::json> {
 public:
  /// The message, once the parser has come to the end of the input without an error.
  [[nodiscard]] const Method& message() const { return m_message; }

  bool null() override;
  bool boolean(bool value) override;
  bool number_integer(number_integer_t value) override;
  bool number_unsigned(number_unsigned_t value) override;
  bool number_float(number_float_t value, const string_t& text) override;
  bool string(string_t& value) override;
  bool binary(binary_t& value) override;
  bool start_object(std::size_t elements) override;
  bool key(string_t& name) override;
  bool end_object() override;
  bool start_array(std::size_t elements) override;
  bool end_array() override;
  bool parse_error(std::size_t position, const std::string& lastToken,
                   const nlohmann::detail::exception& error) override;

 private:
  // Where the parser is; kIgnored is anywhere inside the value of an unknown key.
  enum class Place { kOutside, kMessage, kParameters, kParameter, kIgnored };
  enum class Key { kUnknown, kName, kType, kParameters, kDirection, kValue };
  using Scalar = std::variant<std::monostate, bool, std::int64_t, std::string>;

  struct Fields {
    std::optional<std::string> name;
    std::optional<std::string> typeName;  // of a parameter
    std::optional<std::int64_t> number;   // a message's type, a parameter's direction
    std::optional<Scalar> value;
    bool parameters = false;
  };

  bool takeScalar(Scalar value);
  bool takeMessageScalar(Scalar& value);
  bool takeParameterScalar(Scalar& value);
  bool enterIgnored();
  bool leaveIgnored();
  bool finishMessage();
  bool finishParameter();
  bool addParameter();

  Place m_place = Place::kOutside;
  Key m_key = Key::kUnknown;
  unsigned m_depth = 0;         // objects and arrays that are open
  unsigned m_ignoredDepth = 0;  // of them, those inside an ignored value
  Place m_ignoredIn = Place::kOutside;
  Fields m_messageFields;
  Fields m_parameterFields;
  std::vector<Parameter> m_parameters;
  Method m_message;
};

}  // namespace framework_detail
