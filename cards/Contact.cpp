#include "cards/Contact.h"

#include <algorithm>
#include <stdexcept>

#include "cards/SafeText.h"

namespace contacts {

namespace {

constexpr std::string_view kImagesFolder = "/data/images/";
/// The group that the phone gives to every card that comes in.
constexpr const char* kGroup = "0";
constexpr std::size_t kMaxShown = 100;

/// A default number as the phonebook and as a contact have it.
struct DefaultNumber {
  const char* digit;
  const char* word;
};

constexpr std::array<DefaultNumber, 4> kDefaultNumbers = {
    {{"1", "Office"}, {"2", "Office2"}, {"3", "Mobile"}, {"4", "Private"}}};

std::string wordOf(const std::string& digit) {
  for (const DefaultNumber& number : kDefaultNumbers) {
    if (digit == number.digit) return number.word;
  }
  return "";
}

std::string digitOf(const std::string& word) {
  if (word.empty()) return "";
  for (const DefaultNumber& number : kDefaultNumbers) {
    if (word == number.word) return number.digit;
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

}  // namespace

const std::array<ContactField, kContactFields>& contactFields() {
  using cards::Card;
  static const std::array<ContactField, kContactFields> fields = {{
      {"firstname", "First name", CONTACT_FIRSTNAME_PARAM, &Contact::firstname, &Card::firstname},
      {"surname", "Surname", CONTACT_SURNAME_PARAM, &Contact::surname, &Card::surname},
      {"defaultnumber", "The preferred number: Office, Office2, Mobile or Private",
       CONTACT_DEFAULTNUMBER_PARAM, &Contact::defaultnumber, &Card::defaultNumber},
      {"office", "Number at work", CONTACT_OFFICE_PARAM, &Contact::office, &Card::office},
      {"office2", "Second number at work", CONTACT_OFFICE2_PARAM, &Contact::office2,
       &Card::office2},
      {"mobile", "Mobile number", CONTACT_MOBILE_PARAM, &Contact::mobile, &Card::mobile},
      {"privatenumber", "Number at home", CONTACT_PRIVATE_PARAM, &Contact::privatenumber,
       &Card::privateNumber},
      {"email", "E-mail address", CONTACT_EMAIL_PARAM, &Contact::email, &Card::email},
      {"address", "Address, one text", CONTACT_ADDRESS_PARAM, &Contact::address, &Card::address},
      {"address2", "Second address, one text", CONTACT_ADDRESS2_PARAM, &Contact::address2,
       &Card::address2},
      {"company", "Company", CONTACT_COMPANY_PARAM, &Contact::company, &Card::company},
      {"jobfunction", "Title or job", CONTACT_JOBFUNCTION_PARAM, &Contact::jobfunction,
       &Card::jobFunction},
      {"picture", "A JPEG file in /data/images, by its name", CONTACT_PICTURE_PARAM,
       &Contact::picture, &Card::picture},
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
