#include "cards/PhoneBookMessage.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using cards::Card;
using cards::PhoneBookMessage;

std::string messageWith(const std::string& fields) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\">"
         "<ReasonForMessage>write_request</ReasonForMessage><Entry>" +
         fields + "<Group>0</Group></Entry></Schema>";
}

Card cardOf(const std::string& fields) {
  return PhoneBookMessage::parse(messageWith(fields)).card();
}

std::string complaintAbout(const std::string& text) {
  try {
    PhoneBookMessage::parse(text);
    return "";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

}  // namespace

TEST(PhoneBookMessage, HoldsEveryFieldOfTheCard) {
  const Card card = cardOf(
      "<Surname>s</Surname><Firstname>f</Firstname><Office>1</Office><Office2>2</Office2>"
      "<Mobile>3</Mobile><Private>4</Private><Email>e</Email><Address>a</Address>"
      "<Address2>b</Address2><Company>c</Company><JobFunction>j</JobFunction>"
      "<DefaultNumber>3</DefaultNumber><Picture>p.jpg</Picture>");
  const Card expected{"", "s", "f", "1", "2", "3", "4", "e", "a", "b", "c", "j", "3", "p.jpg", "0"};
  EXPECT_EQ(card, expected);
}

TEST(PhoneBookMessage, ResolvesTheFiveEntities) {
  EXPECT_EQ(cardOf("<Surname>&amp;&lt;&gt;&apos;&quot;</Surname>").surname, "&<>'\"");
}

TEST(PhoneBookMessage, ResolvesEntitiesOnlyOnce) {
  EXPECT_EQ(cardOf("<Surname>&amp;amp;</Surname>").surname, "&amp;");
}

TEST(PhoneBookMessage, KeepsSpacesAndLineEndsAsTheyStand) {
  EXPECT_EQ(cardOf("<Surname>  a \r\n b\t</Surname>").surname, "  a \r\n b\t");
  EXPECT_EQ(cardOf("<Surname> </Surname>").surname, " ");
}

TEST(PhoneBookMessage, KeepsControlCharactersAndBytesThatAreNotUtf8) {
  EXPECT_EQ(cardOf("<Surname>\x1b\x01\xff\xe2\x82</Surname>").surname, "\x1b\x01\xff\xe2\x82");
}

TEST(PhoneBookMessage, HasNoIdWhateverTheTextSays) { EXPECT_EQ(cardOf("<Id>7</Id>").id, ""); }

TEST(PhoneBookMessage, PassesUnknownElementsOver) {
  EXPECT_EQ(cardOf("<Nickname>n</Nickname><Surname>s</Surname>").surname, "s");
}

TEST(PhoneBookMessage, HoldsNothingWhenThereIsOnlyAGroup) {
  EXPECT_FALSE(cards::holdsAnything(cardOf("")));
  EXPECT_TRUE(cards::holdsAnything(cardOf("<Picture>p</Picture>")));
}

TEST(PhoneBookMessage, RefusesTextsThatAreNone) {
  EXPECT_NE(complaintAbout(""), "");
  EXPECT_NE(complaintAbout("BEGIN:VCARD"), "");
  EXPECT_NE(complaintAbout("<Schema name=\"PhoneBook\"><Entry>"), "");
  EXPECT_NE(complaintAbout("<Schema name=\"Other\"><Entry></Entry></Schema>"), "");
  EXPECT_NE(complaintAbout("<Schema name=\"PhoneBook\"></Schema>"), "");
}

TEST(PhoneBookMessage, RefusesATextThatANulCutsShort) {
  std::string text = messageWith("<Surname>ab</Surname>");
  text[text.find("ab") + 1] = '\0';
  EXPECT_NE(complaintAbout(text), "");
}
