#include "cards/Contact.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <system_error>

#include "cards/SafeText.h"
#include "src/CARD_Creator.h"

namespace cards {

namespace {

constexpr std::string_view kImagesFolder = "/data/images/";
// The group that the phone assigns to every received card.
constexpr const char* kGroup = "0";

std::string quoted(const std::string& text) {
  constexpr std::size_t kMaxQuoted = 60;
  return "\"" + safeText(text, kMaxQuoted) + "\"";
}

std::string wordOf(const std::string& digit) {
  for (const CardColumn& number : kCardNumbers) {
    if (digit == number.digit) return number.name;
  }
  return "";
}

std::string digitOf(const std::string& word) {
  if (word.empty()) return "";
  for (const CardColumn& number : kCardNumbers) {
    if (word == number.name) return number.digit;
  }
  throw std::runtime_error("the default number must be Office, Office2, Mobile or Private, not " +
                           quoted(word));
}

std::string pictureName(const std::string& picture) {
  if (picture.starts_with(kImagesFolder)) return picture.substr(kImagesFolder.size());
  if (!picture.starts_with("/")) return picture;
  throw std::runtime_error("the picture " + quoted(picture) +
                           " is outside of /data/images; copy it there first");
}

const ContactField* fieldOf(const std::string& key) {
  for (const ContactField& field : contactFields()) {
    if (key == field.key) return &field;
  }
  return nullptr;
}

/// Parser callback that rejects duplicate keys; the parser would silently keep the last value.
class UniqueKeys {
 public:
  bool operator()(int depth, nlohmann::json::parse_event_t event, const nlohmann::json& value) {
    if (depth != 1 || event != nlohmann::json::parse_event_t::key) return true;
    const std::string key = value.get<std::string>();
    if (!m_seen.insert(key).second) throw std::runtime_error("duplicate field " + quoted(key));
    return true;
  }

 private:
  std::set<std::string> m_seen;
};

nlohmann::json parse(std::string_view text) {
  UniqueKeys uniqueKeys;
  try {
    return nlohmann::json::parse(text, std::ref(uniqueKeys));
  } catch (const nlohmann::json::exception& error) {
    // "[json.exception.parse_error.101] parse error at ...": the identifier says nothing to users.
    std::string why = error.what();
    if (const std::size_t end = why.find("] "); end != std::string::npos) why.erase(0, end + 2);
    throw std::runtime_error("not valid JSON: " + safeText(why, kMaxShown));
  }
}

bool isTruncated(const std::string& picture) {
  const bool isPath = picture.find(kImagesFolder) != std::string::npos;
  std::error_code error;
  const std::uintmax_t size =
      std::filesystem::file_size(isPath ? picture : std::string(kImagesFolder) + picture, error);
  return !error && size > kMaxSentPicture;
}

ContactField field(Column column, const std::string& parameter, std::string Contact::*value) {
  const CardColumn& known = cardColumn(column);
  return {known.key, known.description, parameter, value, known.value};
}

}  // namespace

const std::array<ContactField, kContactFields>& contactFields() {
  static const std::array<ContactField, kContactFields> fields = {{
      field(Column::kFirstname, CONTACT_FIRSTNAME_PARAM, &Contact::firstname),
      field(Column::kSurname, CONTACT_SURNAME_PARAM, &Contact::surname),
      field(Column::kDefaultNumber, CONTACT_DEFAULTNUMBER_PARAM, &Contact::defaultnumber),
      field(Column::kOffice, CONTACT_OFFICE_PARAM, &Contact::office),
      field(Column::kOffice2, CONTACT_OFFICE2_PARAM, &Contact::office2),
      field(Column::kMobile, CONTACT_MOBILE_PARAM, &Contact::mobile),
      field(Column::kPrivate, CONTACT_PRIVATE_PARAM, &Contact::privatenumber),
      field(Column::kEmail, CONTACT_EMAIL_PARAM, &Contact::email),
      field(Column::kAddress, CONTACT_ADDRESS_PARAM, &Contact::address),
      field(Column::kAddress2, CONTACT_ADDRESS2_PARAM, &Contact::address2),
      field(Column::kCompany, CONTACT_COMPANY_PARAM, &Contact::company),
      field(Column::kJobFunction, CONTACT_JOBFUNCTION_PARAM, &Contact::jobfunction),
      field(Column::kPicture, CONTACT_PICTURE_PARAM, &Contact::picture),
  }};
  return fields;
}

Contact contactOf(const Card& card) {
  Contact contact;
  for (const ContactField& field : contactFields()) contact.*field.value = card.*field.column;
  contact.defaultnumber = wordOf(card.defaultNumber);
  return contact;
}

Card cardOf(const Contact& contact) {
  Card card;
  for (const ContactField& field : contactFields()) card.*field.column = contact.*field.value;
  card.defaultNumber = digitOf(contact.defaultnumber);
  card.picture = pictureName(contact.picture);
  card.group = kGroup;
  return card;
}

std::string contactJson(const Contact& contact) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const ContactField& field : contactFields()) {
    const std::string& value = contact.*field.value;
    try {
      static_cast<void>(nlohmann::json(value).dump());
    } catch (const nlohmann::json::type_error&) {
      throw std::runtime_error("the field " + quoted(field.key) +
                               " is not valid UTF-8 and can't be written as JSON");
    }
    json[field.key] = value;
  }
  return jsonLine(json);
}

Contact contactFromJson(std::string_view text) {
  const nlohmann::json json = parse(text);
  if (!json.is_object()) {
    throw std::runtime_error("a contact must be a JSON object, not " +
                             std::string(json.type_name()));
  }
  Contact contact;
  for (const auto& [key, value] : json.items()) {
    const ContactField* const field = fieldOf(key);
    if (field == nullptr) {
      throw std::runtime_error("unknown field " + quoted(key) +
                               "; a contact has: " + contactKeys());
    }
    if (!value.is_string()) {
      throw std::runtime_error("the field " + quoted(key) + " must be a string, not " +
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

SentCard sentCard(const Contact& contact) {
  SentCard card;
  card.text = CARD_Creator().createVCard(contact);
  if (contact.picture.empty()) return card;
  Contact plain = contact;
  plain.picture.clear();
  card.pictureMissing = CARD_Creator().createVCard(plain) == card.text;
  card.pictureTruncated = !card.pictureMissing && isTruncated(contact.picture);
  return card;
}

}  // namespace cards
