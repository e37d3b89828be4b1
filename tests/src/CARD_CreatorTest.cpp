// The card builder: a contact record becomes a vCard.

#include "src/CARD_Creator.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "src/OBEXServiceIfc.h"
#include "tests/support/LogRecorder.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kEmptyCard = "BEGIN:VCARD\r\nVERSION: 2.1\r\nEND:VCARD\r\n";

class CARD_CreatorTest : public ::testing::Test {
 protected:
  ~CARD_CreatorTest() override { std::filesystem::remove(PicturePath()); }

  std::string Card() { return creator.createVCard(contact); }
  /// The card's lines without BEGIN, VERSION and END.
  std::string Lines() {
    const std::string card = Card();
    const std::string head = "BEGIN:VCARD\r\nVERSION: 2.1\r\n";
    const std::string tail = "END:VCARD\r\n";
    EXPECT_THAT(card, StartsWith(head));
    EXPECT_THAT(card, EndsWith(tail));
    return card.substr(head.size(), card.size() - head.size() - tail.size());
  }
  std::string Base64(const std::string& data) {
    return creator.base64Encode(data.data(), static_cast<int>(data.size()));
  }
  std::string PictureName() { return "creatorTest" + std::to_string(getpid()) + ".jpg"; }
  std::string PicturePath() { return "/data/images/" + PictureName(); }
  void WritePicture(const std::string& data) {
    std::ofstream(PicturePath(), std::ios::binary)
        .write(data.data(), static_cast<long>(data.size()));
  }

  obex_phonebook_data_t contact;
  CARD_Creator creator;
};

TEST_F(CARD_CreatorTest, WritesAnEmptyCardForAnEmptyRecord) { EXPECT_EQ(Card(), kEmptyCard); }

TEST_F(CARD_CreatorTest, WritesEveryFieldInItsPlace) {
  contact.firstname = "Anna";
  contact.surname = "Berg";
  contact.defaultnumber = "Mobile";
  contact.office = "1";
  contact.office2 = "2";
  contact.mobile = "3";
  contact.privatenumber = "4";
  contact.email = "a@b";
  contact.address = "Street 1";
  contact.address2 = "Street 2";
  contact.company = "Acme";
  contact.jobfunction = "Boss";
  EXPECT_EQ(Lines(),
            "N;CHARSET=UTF-8:Berg;Anna;;;\r\nTEL;VOICE;WORK:1\r\nTEL;VOICE;WORK:2\r\n"
            "TEL;VOICE;CELL;PREF:3\r\nTEL;VOICE;HOME:4\r\nADR;CHARSET=UTF-8:Street 1\r\n"
            "ADR;CHARSET=UTF-8:Street 2\r\nEMAIL;INTERNET;CHARSET=UTF-8:a@b\r\n"
            "ORG;CHARSET=UTF-8:Acme\r\nTITLE;CHARSET=UTF-8:Boss\r\n");
}

TEST_F(CARD_CreatorTest, WritesFiveComponentsForASurnameAlone) {
  contact.surname = "Doe";
  EXPECT_EQ(Lines(), "N;CHARSET=UTF-8:Doe;;;;\r\n");
}

TEST_F(CARD_CreatorTest, WritesFiveComponentsForAFirstNameAlone) {
  contact.firstname = "Ann";
  EXPECT_EQ(Lines(), "N;CHARSET=UTF-8:;Ann;;;\r\n");
}

TEST_F(CARD_CreatorTest, MarksOnlyTheDefaultNumberAsPreferred) {
  contact.office = "1";
  contact.office2 = "2";
  contact.defaultnumber = "Office2";
  EXPECT_EQ(Lines(), "TEL;VOICE;WORK:1\r\nTEL;VOICE;WORK;PREF:2\r\n");
  contact.defaultnumber = "Office";
  EXPECT_EQ(Lines(), "TEL;VOICE;WORK;PREF:1\r\nTEL;VOICE;WORK:2\r\n");
  contact.defaultnumber = "office";
  EXPECT_THAT(Lines(), Not(HasSubstr("PREF")));
}

TEST_F(CARD_CreatorTest, MarksAPrivateNumberAsPreferred) {
  contact.privatenumber = "4";
  contact.defaultnumber = "Private";
  EXPECT_EQ(Lines(), "TEL;VOICE;HOME;PREF:4\r\n");
}

TEST_F(CARD_CreatorTest, WritesNothingForAnEmptyDefaultNumber) {
  contact.defaultnumber = "Mobile";
  EXPECT_EQ(Card(), kEmptyCard);
}

TEST_F(CARD_CreatorTest, WritesValuesUnchanged) {
  contact.address = "a;b:c\r\nd\\e";
  EXPECT_EQ(Lines(), "ADR;CHARSET=UTF-8:a;b:c\r\nd\\e\r\n");
}

TEST_F(CARD_CreatorTest, PadsBase64ToFourCharacters) {
  EXPECT_EQ(Base64(""), "");
  EXPECT_EQ(Base64("f"), "Zg==");
  EXPECT_EQ(Base64("fo"), "Zm8=");
  EXPECT_EQ(Base64("foo"), "Zm9v");
  EXPECT_EQ(Base64("foob"), "Zm9vYg==");
  EXPECT_EQ(Base64("\xfb\xff\xbf"), "+/+/");
}

TEST_F(CARD_CreatorTest, WritesAPictureWithoutPadding) {
  WritePicture("foo");
  contact.picture = PictureName();
  EXPECT_EQ(Lines(), "PHOTO;ENCODING=BASE64;TYPE=JPEG:Zm9v\r\n\n");
}

TEST_F(CARD_CreatorTest, TakesThePathOfAPicture) {
  WritePicture("f");
  contact.picture = PicturePath();
  EXPECT_EQ(Lines(), "PHOTO;ENCODING=BASE64;TYPE=JPEG:Zg==\r\n\n");
}

TEST_F(CARD_CreatorTest, KeepsAPathThatContainsTheFolderAnywhere) {
  LogRecorder log;
  contact.picture = "/nowhere/data/images/x.jpg";
  EXPECT_EQ(Card(), kEmptyCard);
  EXPECT_TRUE(log.has("\tFile to read: /nowhere/data/images/x.jpg"));
}

TEST_F(CARD_CreatorTest, SendsTheFirst102400BytesOfALargePicture) {
  for (const std::size_t size : {102399U, 102400U, 102401U, 200000U}) {
    std::string picture(size, '\0');
    for (std::size_t i = 0; i < size; ++i) picture[i] = static_cast<char>(i * 7 + i / 256);
    WritePicture(picture);
    contact.picture = PictureName();
    const std::string sent = picture.substr(0, 102400);
    EXPECT_EQ(Lines(), "PHOTO;ENCODING=BASE64;TYPE=JPEG:" + Base64(sent) + "\r\n\n") << size;
    EXPECT_EQ(Base64(sent).size(), (sent.size() + 2) / 3 * 4);
  }
}

TEST_F(CARD_CreatorTest, ReportsAReadErrorWithoutAPicture) {
  LogRecorder log;
  Card();
  EXPECT_THAT(log.texts(2), ElementsAre("\terror during reading file."));
  EXPECT_TRUE(log.has("\tFile to read: /data/images/"));
  EXPECT_TRUE(log.has("\tfile length: -1\n"));
}

TEST_F(CARD_CreatorTest, ReportsAReadErrorForAMissingPicture) {
  LogRecorder log;
  contact.picture = "no such picture.jpg";
  EXPECT_EQ(Card(), kEmptyCard);
  EXPECT_THAT(log.texts(2), ElementsAre("\terror during reading file."));
}

TEST_F(CARD_CreatorTest, LeavesOutAnEmptyPicture) {
  WritePicture("");
  contact.picture = PictureName();
  LogRecorder log;
  EXPECT_EQ(Card(), kEmptyCard);
  EXPECT_TRUE(log.has("\tfile length: 0\n"));
}

TEST_F(CARD_CreatorTest, DoesNotWaitForAPipe) {
  ASSERT_EQ(mkfifo(PicturePath().c_str(), 0600), 0);
  contact.picture = PictureName();
  EXPECT_EQ(Card(), kEmptyCard);
}

TEST_F(CARD_CreatorTest, EndsThePathOfAPictureAtAZeroByte) {
  WritePicture("foo");
  contact.picture = PictureName() + std::string("\0/", 2);
  EXPECT_THAT(Card(), ::testing::HasSubstr("PHOTO;ENCODING=BASE64;TYPE=JPEG:Zm9v\r\n"));
}

TEST_F(CARD_CreatorTest, TakesDescriptorZeroForNotOpened) {
  WritePicture("foo");
  contact.picture = PictureName();
  const int input = dup(0);
  close(0);
  LogRecorder log;
  const std::string card = Card();
  EXPECT_EQ(fcntl(0, F_GETFD), -1) << "the descriptor is free again";
  dup2(input, 0);
  close(input);
  EXPECT_EQ(card, kEmptyCard);
  EXPECT_THAT(log.texts(2), ElementsAre("\tcannot open file"));
}

TEST_F(CARD_CreatorTest, TakesAFolderInDescriptorZeroForNotOpened) {
  const int input = dup(0);
  close(0);
  LogRecorder log;
  Card();
  EXPECT_EQ(fcntl(0, F_GETFD), -1) << "the descriptor is free again";
  dup2(input, 0);
  close(input);
  EXPECT_THAT(log.texts(2), ElementsAre("\tcannot open file"));
}

TEST_F(CARD_CreatorTest, ClosesEveryDescriptor) {
  const int before = dup(0);
  close(before);
  Card();
  WritePicture("foo");
  contact.picture = PictureName();
  Card();
  const int after = dup(0);
  close(after);
  EXPECT_EQ(after, before);
}

TEST_F(CARD_CreatorTest, LogsTheCardUnderItsComponentAndSource) {
  LogRecorder log;
  contact.surname = "Doe";
  const std::string card = Card();
  EXPECT_TRUE(log.has("\tvCard created: " + card));
  for (const RecordedLine& line : log.lines()) {
    EXPECT_EQ(line.component, "VCARD Parser");
    EXPECT_EQ(line.source, "CARD_Creator");
  }
  EXPECT_EQ(log.texts().front(), ">createVCard");
  EXPECT_EQ(log.texts().back(), "<createVCard");
}

TEST_F(CARD_CreatorTest, TracesEveryStepOfACard) {
  WritePicture("JPG");
  contact.picture = PictureName();
  LogRecorder log;
  const std::string card = Card();
  EXPECT_THAT(log.texts(),
              ElementsAre(">createVCard", ">prolog", "<prolog", ">addName", "<addName",
                          ">addOffice", ">addPhoneNumber", "<addPhoneNumber", "<addOffice",
                          ">addOffice", ">addPhoneNumber", "<addPhoneNumber", "<addOffice",
                          ">addMobile", ">addPhoneNumber", "<addPhoneNumber", "<addMobile",
                          ">addPrivate", ">addPhoneNumber", "<addPhoneNumber", "<addPrivate",
                          ">addAddress", "<addAddress", ">addAddress", "<addAddress", ">addEmail",
                          "<addEmail", ">addCompany", "<addCompany", ">addJobFunction",
                          "<addJobFunction", ">addPicture", "\tFile to read: " + PicturePath(),
                          "\tfile length: 3\n", ">base64Encode", "<base64Encode", "<addPicture",
                          ">epilog", "<epilog", "\tvCard created: " + card, "<createVCard"));
}

TEST_F(CARD_CreatorTest, TracesConstructionAndDestruction) {
  LogRecorder log;
  { CARD_Creator another; }
  EXPECT_THAT(log.texts(),
              ElementsAre(">CARD_Creator", "<CARD_Creator", ">~CARD_Creator", "<~CARD_Creator"));
}

TEST_F(CARD_CreatorTest, WritesTheSameCardWithTracing) {
  contact.surname = "Doe";
  const std::string card = Card();
  LogRecorder log;
  EXPECT_EQ(Card(), card);
}

}  // namespace
}  // namespace test
