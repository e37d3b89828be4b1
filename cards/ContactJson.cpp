#include "cards/ContactJson.h"

#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "cards/CardJson.h"
#include "cards/SafeText.h"

namespace contacts {

namespace {

constexpr std::size_t kMaxShown = 60;

std::string shown(const std::string& text) {
  return "\"" + cards::safeText(text, kMaxShown) + "\"";
}

const ContactField* fieldOf(const std::string& key) {
  for (const ContactField& field : contactFields()) {
    if (key == field.key) return &field;
  }
  return nullptr;
}

/// Refuses a key that stands in the object twice, of which the reader would keep the last.
class KeysOnce {
 public:
  bool operator()(int depth, nlohmann::json::parse_event_t event, const nlohmann::json& value) {
    if (depth == 1 && event == nlohmann::json::parse_event_t::key) {
      const std::string key = value.get<std::string>();
      if (!m_seen.insert(key).second) {
        throw std::runtime_error("the field " + shown(key) + " stands there twice");
      }
    }
    return true;
  }

 private:
  std::set<std::string> m_seen;
};

nlohmann::json parse(std::string_view text) {
  KeysOnce keysOnce;
  try {
    return nlohmann::json::parse(text, std::ref(keysOnce));
  } catch (const nlohmann::json::exception& error) {
    // Not only what is misspelt: a number that is too large has an error of its own.
    std::string why = error.what();
    if (const std::size_t end = why.find("] "); end != std::string::npos) why.erase(0, end + 2);
    throw std::runtime_error("this is no JSON: " + cards::safeText(why, 200));
  }
}

}  // namespace

std::string contactJson(const Contact& contact) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const ContactField& field : contactFields()) {
    const std::string& value = contact.*field.value;
    try {
      static_cast<void>(nlohmann::json(value).dump());
    } catch (const nlohmann::json::type_error&) {
      throw std::runtime_error(std::string("the field \"") + field.key +
                               "\" holds bytes that are no UTF-8, which JSON can't carry");
    }
    json[field.key] = value;
  }
  return cards::jsonLine(json);
}

Contact contactFromJson(std::string_view text) {
  const nlohmann::json json = parse(text);
  if (!json.is_object()) {
    throw std::runtime_error("a contact is one JSON object, not " + std::string(json.type_name()));
  }
  Contact contact;
  for (const auto& [key, value] : json.items()) {
    const ContactField* const field = fieldOf(key);
    if (field == nullptr) {
      throw std::runtime_error("a contact has no field " + shown(key) + ". Its fields are " +
                               contactKeys());
    }
    if (!value.is_string()) {
      throw std::runtime_error("the field " + shown(key) + " must be a text, not " +
                               value.type_name());
    }
    contact.*field->value = value.get<std::string>();
  }
  return contact;
}

std::string contactKeys() {
  std::string keys;
  for (const ContactField& field : contactFields()) {
    keys += (keys.empty() ? "" : ", ") + std::string(field.key);
  }
  return keys;
}

}  // namespace contacts
