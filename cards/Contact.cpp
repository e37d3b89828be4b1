#include "cards/Contact.h"

#include <stdexcept>

#include "cards/SafeText.h"

namespace contacts {

namespace {

constexpr std::string_view kImagesFolder = "/data/images/";
/// The group that the phone gives to every card that comes in.
constexpr const char* kGroup = "0";
constexpr std::size_t kMaxShown = 100;

std::string wordOf(const std::string& digit) {
  for (const cards::CardColumn& number : cards::kCardNumbers) {
    if (digit == number.digit) return number.name;
  }
  return "";
}

std::string digitOf(const std::string& word) {
  if (word.empty()) return "";
  for (const cards::CardColumn& number : cards::kCardNumbers) {
    if (word == number.name) return number.digit;
  }
  throw std::runtime_error("the default number is Office, Office2, Mobile or Private, not \"" +
                           cards::safeText(word, kMaxShown) + "\"");
}

std::string nameOfPicture(const std::string& picture) {
  if (picture.starts_with(kImagesFolder)) return picture.substr(kImagesFolder.size());
  if (!picture.starts_with("/")) return picture;
  throw std::runtime_error("the picture " + cards::safeText(picture, kMaxShown) +
                           " is not in the images folder /data/images, where the phone looks; put "
                           "it there first");
}

ContactField field(cards::Column column, const std::string& parameter,
                   std::string Contact::*value) {
  const cards::CardColumn& known = cards::cardColumn(column);
  return {known.key, known.description, parameter, value, known.value};
}

}  // namespace

const std::array<ContactField, kContactFields>& contactFields() {
  using cards::Column;
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

Contact contactOf(const cards::Card& card) {
  Contact contact;
  for (const ContactField& field : contactFields()) contact.*field.value = card.*field.column;
  contact.defaultnumber = wordOf(card.defaultNumber);
  return contact;
}

cards::Card cardOf(const Contact& contact) {
  cards::Card card;
  for (const ContactField& field : contactFields()) card.*field.column = contact.*field.value;
  card.defaultNumber = digitOf(contact.defaultnumber);
  card.picture = nameOfPicture(contact.picture);
  card.group = kGroup;
  return card;
}

}  // namespace contacts
