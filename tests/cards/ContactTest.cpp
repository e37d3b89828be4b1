#include "cards/Contact.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace {

using cards::Card;
using cards::cardOf;
using cards::Contact;
using cards::contactFromJson;
using cards::contactJson;
using cards::contactOf;
using testing::HasSubstr;

/// A different value in every field.
Contact fullContact() {
  Contact contact;
  for (const cards::ContactField& field : cards::contactFields()) {
    contact.*field.value = std::string("<") + field.key + ">";
  }
  contact.defaultnumber = "Mobile";
  return contact;
}

void expectEqual(const Contact& one, const Contact& other) {
  for (const cards::ContactField& field : cards::contactFields()) {
    EXPECT_EQ(one.*field.value, other.*field.value) << field.key;
  }
}

std::string complaintOf(const std::function<void()>& work) {
  try {
    work();
    return "";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

std::string complaintAbout(const std::string& json) {
  return complaintOf([&] { contactFromJson(json); });
}

}  // namespace

TEST(Contact, TakesEveryFieldFromTheCard) {
  const Card card{"7", "s", "f", "1", "2", "3", "4", "e", "a", "b", "c", "j", "3", "p.jpg", "0"};
  const Contact contact = contactOf(card);
  EXPECT_EQ(contact.surname, "s");
  EXPECT_EQ(contact.firstname, "f");
  EXPECT_EQ(contact.office, "1");
  EXPECT_EQ(contact.office2, "2");
  EXPECT_EQ(contact.mobile, "3");
  EXPECT_EQ(contact.privatenumber, "4");
  EXPECT_EQ(contact.email, "e");
  EXPECT_EQ(contact.address, "a");
  EXPECT_EQ(contact.address2, "b");
  EXPECT_EQ(contact.company, "c");
  EXPECT_EQ(contact.jobfunction, "j");
  EXPECT_EQ(contact.defaultnumber, "Mobile");
  EXPECT_EQ(contact.picture, "p.jpg");
}

TEST(Contact, TurnsTheDefaultNumberIntoAWord) {
  const auto wordOf = [](const std::string& digit) {
    Card card;
    card.defaultNumber = digit;
    return contactOf(card).defaultnumber;
  };
  EXPECT_EQ(wordOf("1"), "Office");
  EXPECT_EQ(wordOf("2"), "Office2");
  EXPECT_EQ(wordOf("3"), "Mobile");
  EXPECT_EQ(wordOf("4"), "Private");
  for (const char* none : {"", "0", "5", "12", "Mobile"}) EXPECT_EQ(wordOf(none), "") << none;
}

TEST(Contact, RoundTripsThroughACard) {
  Contact contact = fullContact();
  for (const char* word : {"", "Office", "Office2", "Mobile", "Private"}) {
    contact.defaultnumber = word;
    expectEqual(contactOf(cardOf(contact)), contact);
  }
}

TEST(Contact, StoresThePictureByName) {
  Contact contact;
  contact.picture = "/data/images/a/b.jpg";
  EXPECT_EQ(cardOf(contact).picture, "a/b.jpg");
  contact.picture = "/etc/b.jpg";
  EXPECT_THAT(complaintOf([&] { cardOf(contact); }), HasSubstr("/data/images"));
}

TEST(Contact, RejectsAnUnknownDefaultNumber) {
  Contact contact;
  contact.defaultnumber = "mobile\x1b";
  EXPECT_EQ(complaintOf([&] { cardOf(contact); }),
            "the default number must be Office, Office2, Mobile or Private, not \"mobile\\x1b\"");
}

TEST(ContactJson, ContainsEveryField) {
  EXPECT_EQ(contactJson(Contact()),
            "{\"firstname\":\"\",\"surname\":\"\",\"defaultnumber\":\"\",\"office\":\"\","
            "\"office2\":\"\",\"mobile\":\"\",\"privatenumber\":\"\",\"email\":\"\","
            "\"address\":\"\",\"address2\":\"\",\"company\":\"\",\"jobfunction\":\"\","
            "\"picture\":\"\"}");
}

TEST(ContactJson, ParsesWhatItWrites) {
  Contact contact = fullContact();
  contact.surname = "Mu\u00f1oz \"\\\r\n\x1b\u202e";
  expectEqual(contactFromJson(contactJson(contact)), contact);
  EXPECT_EQ(contactJson(contact).find('\x1b'), std::string::npos);
}

TEST(ContactJson, LeavesMissingFieldsEmpty) {
  expectEqual(contactFromJson("{}"), Contact());
  EXPECT_EQ(contactFromJson(" {\"surname\": \"Berg\"}\n").surname, "Berg");
}

TEST(ContactJson, NamesTheFieldThatIsNotUtf8) {
  Contact contact;
  contact.mobile = "5\xff";
  EXPECT_THAT(complaintOf([&] { contactJson(contact); }), HasSubstr("\"mobile\""));
}

TEST(ContactJson, RejectsUnknownKeys) {
  for (const char* key : {"Surname", "private", "id", "", "surname "}) {
    const std::string complaint = complaintAbout("{\"" + std::string(key) + "\":\"x\"}");
    EXPECT_THAT(complaint, HasSubstr("unknown field \"" + std::string(key) + "\""));
    EXPECT_THAT(complaint, HasSubstr("firstname, surname, defaultnumber"));
  }
}

TEST(ContactJson, RejectsValuesOtherThanStrings) {
  for (const char* value : {"4", "null", "true", "[]", "{\"a\":\"b\"}", "1.5"}) {
    EXPECT_THAT(complaintAbout("{\"mobile\":" + std::string(value) + "}"),
                HasSubstr("\"mobile\" must be a string"))
        << value;
  }
}

TEST(ContactJson, RejectsDuplicateKeys) {
  EXPECT_THAT(complaintAbout(R"({"surname":"a","mobile":"1","surname":"b"})"),
              HasSubstr("duplicate field \"surname\""));
}

TEST(ContactJson, RejectsAnythingButAnObject) {
  for (const char* json : {"[]", "\"x\"", "4", "null"}) {
    EXPECT_THAT(complaintAbout(json), HasSubstr("a JSON object")) << json;
  }
}

TEST(ContactJson, RejectsInvalidJson) {
  for (const char* json : {"", "{", "{\"surname\":\"a\",}", "{} {}", "{'surname':'a'}",
                           "{\"surname\":\"\xff\"}", "1e999", "BEGIN:VCARD"}) {
    EXPECT_THAT(complaintAbout(json), HasSubstr("not valid JSON: ")) << json;
  }
}
