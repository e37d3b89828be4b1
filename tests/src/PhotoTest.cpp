// The card reader: photos.

#include "tests/src/CardFixture.h"

namespace test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using namespace std::string_literals;

class PhotoTest : public CardTest {
 protected:
  std::string ExtensionOf(std::vector<const char*> params) {
    params.insert(params.end(), {nullptr, nullptr});
    return reader.getPhotoExt(params.data());
  }

  /// The log lines about photos.
  static std::vector<std::string> PhotoLines(const LogRecorder& log) {
    std::vector<std::string> texts = log.texts();
    std::erase_if(texts, [](const std::string& text) {
      return !text.starts_with('\t') ||
             (text.find("PHOTO") == std::string::npos && text.find("Photo") == std::string::npos &&
              text.find("File") == std::string::npos);
    });
    return texts;
  }
};

TEST_F(PhotoTest, StoresAPhotoUnderTheContactsName) {
  FeedCard("N:Doe;John\nPHOTO;TYPE=JPEG;ENCODING=BASE64:\n QUJD\n");
  ExpectPhotos({{"/data/images/photoDoeJohn.jpg", "ABC"}});
  ExpectEntry("Picture", "photoDoeJohn.jpg");
}

TEST_F(PhotoTest, StoresAPhotoUnderTheCompanysNameWithoutAnother) {
  FeedCard("ORG:Acme\nPHOTO;TYPE=GIF;BASE64:QUJD");
  ExpectPhotos({{"/data/images/photoAcme.gif", "ABC"}});
  ExpectEntry("Picture", "photoAcme.gif");
}

TEST_F(PhotoTest, StoresAPhotoWithoutAName) {
  FeedCard("PHOTO;TYPE=GIF;BASE64:QUJD");
  ExpectPhotos({{"/data/images/photo.gif", "ABC"}});
  ExpectEntry("Picture", "photo.gif");
}

TEST_F(PhotoTest, NamesAPhotoByOneNameAlone) {
  FeedCard("N:;John\nORG:Acme\nPHOTO;TYPE=GIF;BASE64:QUJD");
  ExpectPhotos({{"/data/images/photoJohn.gif", "ABC"}});
}

TEST_F(PhotoTest, NamesAPhotoByTheNameKnownSoFar) {
  FeedCard("PHOTO;TYPE=GIF;BASE64:QUJD\nN:Doe;John");
  ExpectPhotos({{"/data/images/photo.gif", "ABC"}});
  ExpectEntry("Picture", "photoDoeJohn.gif");
}

TEST_F(PhotoTest, KeepsTheNameUnchanged) {
  FeedCard("N:../D\xF6 e/;A&\"B\nPHOTO;TYPE=GIF;BASE64:QUJD");
  ExpectPhotos({{"/data/images/photo../D\xC3\xB6 e/A&\"B.gif", "ABC"}});
  ExpectEntry("Picture", "photo../D\xC3\xB6 e/A&amp;&quot;B.gif");
}

TEST_F(PhotoTest, StoresEveryByteOfAPhoto) {
  FeedCard("N:Doe\nPHOTO;TYPE=GIF;BASE64:R0lGAAAA/w0KAA==");
  ExpectPhotos({{"/data/images/photoDoe.gif", "GIF\0\0\0\xFF\r\n\0"s}});
}

TEST_F(PhotoTest, StoresAPhotoInAnyEncoding) {
  FeedCard("N:Doe\nPHOTO;TYPE=GIF:http://x\nPHOTO;TYPE=BMP;QUOTED-PRINTABLE:=00=01");
  ExpectPhotos(
      {{"/data/images/photoDoe.gif", "http://x"}, {"/data/images/photoDoe.bmp", "\0\x01"s}});
}

TEST_F(PhotoTest, StoresNoPhotoWithoutData) {
  FeedCard("N:Doe\nPHOTO;TYPE=GIF;BASE64:");
  ExpectPhotos({});
  ExpectEntry("Picture", "photoDoe.gif");
}

TEST_F(PhotoTest, ReplacesTheExtensionByASecondPhotos) {
  FeedCard("N:Doe\nPHOTO;TYPE=GIF;BASE64:QUJD\nPHOTO;TYPE=JPEG;BASE64:RA==");
  ExpectPhotos({{"/data/images/photoDoe.gif", "ABC"}, {"/data/images/photoDoe.jpg", "D"}});
  ExpectEntry("Picture", "photoDoe.jpg");
}

TEST_F(PhotoTest, RemovesThePictureAfterASecondPhotoOfUnknownType) {
  FeedCard("N:Doe\nPHOTO;TYPE=GIF;BASE64:QUJD\nPHOTO;BASE64:RA==");
  ExpectPhotos({{"/data/images/photoDoe.gif", "ABC"}, {"/data/images/photoDoe.", "D"}});
  ExpectNoEntry("Picture");
}

TEST_F(PhotoTest, StoresAPhotoOfUnknownTypeWithoutAPicture) {
  const LogRecorder log;
  FeedCard("N:Doe\nPHOTO;TYPE=PNG;BASE64:QUJD");
  ExpectPhotos({{"/data/images/photoDoe.", "ABC"}});
  ExpectNoEntry("Picture");
  EXPECT_THAT(PhotoLines(log),
              ElementsAre("\tProperty name = [PHOTO]", "\tGET Photo Ext", "\tPHOTO Format=[PNG]",
                          "\tNEXT PHOTO param...", "\tNEXT PHOTO param...", "\tPHOTO param error",
                          "\tParsing PHOTO", "\t\tFile to store: /data/images/photoDoe."));
}

TEST_F(PhotoTest, LooksUpNoCharsetForAPhoto) {
  const LogRecorder log;
  FeedCard("PHOTO;TYPE=GIF;CHARSET=x;BASE64:QUJD");
  EXPECT_THAT(log.texts(), Not(Contains(">getCharset")));
  EXPECT_THAT(log.texts(), Not(Contains(HasSubstr("charset"))));
}

// The type

TEST_F(PhotoTest, MapsEveryTypeToItsExtension) {
  const std::vector<std::pair<const char*, const char*>> table = {
      {"GIF", "gif"},  {"CGM", "cgm"},   {"WMF", "wmf"}, {"BMP", "bmp"},
      {"MET", "met"},  {"PMB", "pbm"},   {"DIB", "dib"}, {"PICT", "pct"},
      {"TIFF", "tif"}, {"PS", "ps"},     {"PDF", "pdf"}, {"JPEG", "jpg"},
      {"MPEG", "mpg"}, {"MPEG2", "mpg"}, {"AVI", "avi"}, {"QTIME", "qt"}};
  for (const auto& [type, extension] : table) EXPECT_EQ(ExtensionOf({"TYPE", type}), extension);
}

TEST_F(PhotoTest, IgnoresCase) { EXPECT_EQ(ExtensionOf({"type", "Jpeg"}), "jpg"); }

TEST_F(PhotoTest, KnowsNoOtherTypes) {
  for (const char* type : {"PNG", "PBM", "JPG", "", "JPEG2", "GI", "image/gif"}) {
    EXPECT_EQ(ExtensionOf({"TYPE", type}), "") << type;
  }
}

TEST_F(PhotoTest, IgnoresABareType) {
  EXPECT_EQ(ExtensionOf({"JPEG", nullptr}), "");
  EXPECT_EQ(ExtensionOf({"FORMAT", "JPEG"}), "");
}

TEST_F(PhotoTest, TakesATypeWithoutAValueForUnknown) {
  const LogRecorder log;
  EXPECT_EQ(ExtensionOf({"TYPE", nullptr, "TYPE", "GIF"}), "gif");
  EXPECT_THAT(PhotoLines(log), ElementsAre("\tPHOTO Format=[(null)]", "\tNEXT PHOTO param...",
                                           "\tPHOTO Format=[GIF]"));
}

TEST_F(PhotoTest, UsesTheFirstKnownType) {
  const LogRecorder log;
  EXPECT_EQ(ExtensionOf({"X", nullptr, "TYPE", "PNG", "TYPE", "BMP", "TYPE", "GIF"}), "bmp");
  EXPECT_THAT(PhotoLines(log), ElementsAre("\tNEXT PHOTO param...", "\tPHOTO Format=[PNG]",
                                           "\tNEXT PHOTO param...", "\tPHOTO Format=[BMP]"));
}

TEST_F(PhotoTest, TracesAMissingParameter) {
  const LogRecorder log;
  EXPECT_EQ(ExtensionOf({}), "");
  EXPECT_THAT(PhotoLines(log), ElementsAre("\tPHOTO param error"));
}

// The file's name

TEST_F(PhotoTest, BuildsTheFileNameFromTheKnownFields) {
  EXPECT_EQ(reader.getPhotoFilename(), "photo.");
  FeedCard("N:Doe;John\nORG:Acme\nPHOTO;TYPE=TIFF:x");
  EXPECT_EQ(reader.getPhotoFilename(), "photoDoeJohn.tif");
}

// Failures

TEST_F(PhotoTest, FailsWithoutAStorage) {
  const LogRecorder log(0);
  CARD_Parser homeless(nullptr);
  const std::string card = Card("N:Doe\nPHOTO;TYPE=GIF;BASE64:QUJD\nTEL:1");
  EXPECT_EQ(readWith(homeless, card), 0);
  EXPECT_THAT(log.lines(), ElementsAre(RecordedLine{"VCARD Parser", "CARD_Parser", 2,
                                                    "OBEX Storage pointer is NULL"}));
}

TEST_F(PhotoTest, ReadsACardWithoutAPhotoWithoutAStorage) {
  CARD_Parser homeless(nullptr);
  const std::string card = Card("N:Doe\nPHOTO;TYPE=GIF;BASE64:\n");
  EXPECT_EQ(readWith(homeless, card), 1);
}

TEST_F(PhotoTest, FailsWhenAPhotoCannotBeStored) {
  storage.refuses = true;
  const LogRecorder log(0);
  FeedCardAndFail("N:Doe\nPHOTO;TYPE=GIF;BASE64:QUJD\nTEL:1");
  EXPECT_EQ(storage.calls, 1);
  ExpectNoEntry("Office");
  EXPECT_THAT(log.lines(), ElementsAre(RecordedLine{"VCARD Parser", "CARD_Parser", 2,
                                                    "Failure when trying to save picture clip"}));
}

TEST_F(PhotoTest, TracesTheFileBeforeStoringIt) {
  storage.refuses = true;
  const LogRecorder log;
  FeedCardAndFail("PHOTO;TYPE=GIF;BASE64:QUJD");
  EXPECT_THAT(log.texts(5), Contains("\tParsing PHOTO"));
  EXPECT_THAT(log.texts(5), Contains("\t\tFile to store: /data/images/photo.gif"));
}

TEST_F(PhotoTest, StoresNoTruncatedPhoto) {
  FeedCardAndFail("N:Doe\nPHOTO;TYPE=GIF;BASE64:QUJDR\n");
  ExpectPhotos({});
}

}  // namespace
}  // namespace test
