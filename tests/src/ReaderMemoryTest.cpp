// The reader without memory: whichever allocation fails, the reading fails without crash or leak.

#include <memory>
#include <optional>

#include "tests/src/CardFixture.h"
#include "tests/src/MemoryFaults.h"
#include "tests/src/RecordingParser.h"

namespace test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

const std::string kLong(3000, 'x');

class ReaderMemoryTest : public ::testing::TestWithParam<MemoryFaults::Kind> {
 protected:
  /// Reads the text once for each allocation, letting that one fail, and expects failure until none
  /// is left. Only the tokenizer's state block may stay allocated.
  template <typename MakeReader>
  void ExpectFailures(std::string_view text, MakeReader makeReader) {
    for (std::size_t nth = 1; !HasFailure(); ++nth) {
      SCOPED_TRACE("allocation " + std::to_string(nth));
      const long before = MemoryFaults::blocks();
      bool happened = false;
      {
        auto reader = makeReader();
        const MemoryFaults faults(nth, GetParam());
        const int result = reader->parse(reinterpret_cast<const unsigned char*>(text.data()),
                                         static_cast<int>(text.size()));
        happened = faults.happened();
        EXPECT_EQ(result, happened ? 0 : 1);
      }
      EXPECT_EQ(MemoryFaults::blocks() - before, 1);
      if (happened) continue;
      EXPECT_GT(nth, 1U) << "nothing was allocated";
      return;
    }
  }
  void ExpectTokenizerFailures(std::string_view text) {
    ExpectFailures(text, [] { return std::make_unique<RecordingParser>(); });
  }
  /// The same with handlers that refuse every property.
  void ExpectRefusingTokenizerFailures(std::string_view text) {
    ExpectFailures(text, [] {
      auto parser = std::make_unique<RecordingParser>();
      parser->answer = [](const HandlerCall& call) {
        return call.kind != HandlerCall::Kind::Property;
      };
      return parser;
    });
  }
  void ExpectCardFailures(std::string_view text) {
    ExpectFailures(text, [this] { return std::make_unique<CARD_Parser>(&storage); });
  }

  RecordingStorage storage;
};

INSTANTIATE_TEST_SUITE_P(Failing, ReaderMemoryTest,
                         ::testing::Values(MemoryFaults::Kind::Once, MemoryFaults::Kind::FromThen),
                         [](const auto& kind) {
                           return kind.param == MemoryFaults::Kind::Once ? "Once" : "FromThen";
                         });

TEST_P(ReaderMemoryTest, FailsOnALongName) { ExpectTokenizerFailures(kLong + ":x\n"); }

TEST_P(ReaderMemoryTest, FailsOnLongData) {
  ExpectTokenizerFailures("N:" + kLong + "\nM;QUOTED-PRINTABLE:" + kLong + "\nO:x");
}

TEST_P(ReaderMemoryTest, FailsWithoutRoomForTheZeroByte) {
  ExpectTokenizerFailures("N:" + std::string(128, 'x') + "\n");
}

TEST_P(ReaderMemoryTest, FailsOnALongBase64Block) {
  std::string block = "PHOTO;BASE64:";
  for (int i = 0; i < 1000; ++i) block += "QUJD";
  ExpectTokenizerFailures(block + "\n\nN:x");
}

TEST_P(ReaderMemoryTest, FailsOnParameters) {
  std::string line = "N";
  for (int i = 0; i < 100; ++i) line += ";A=b;C;LONGER-NAME=" + std::to_string(i);
  ExpectTokenizerFailures(line + ":x\nM;A:y\nO:z");
}

TEST_P(ReaderMemoryTest, FailsOnAValueAtTheEndOfTheBuffer) {
  for (std::size_t length = 100; length < 140; ++length) {
    ExpectTokenizerFailures("N;A=" + std::string(length, 'v') + ":TEL:y\nM:z\n");
  }
}

TEST_P(ReaderMemoryTest, FailsOnARefusedProperty) {
  for (std::size_t length = 100; length < 140; ++length) {
    const std::string value(length, 'v');
    ExpectRefusingTokenizerFailures("A.N;A=" + value + ":" + value + ":;C=" + value + "::x");
  }
}

TEST_P(ReaderMemoryTest, FailsOnACard) {
  ExpectCardFailures(
      "BEGIN:VCARD\nN:Doe;John\nORG;CHARSET=UTF-8:Acme\nTEL;WORK;PREF:1\n"
      "PHOTO;TYPE=GIF;BASE64:\n QUJD\n\nADR;ENCODING=QUOTED-PRINTABLE:=41\nEND:VCARD\n");
}

TEST(ReaderWithoutMemory, ReadsNothing) {
  const long before = MemoryFaults::blocks();
  {
    std::optional<RecordingParser> parser;
    {
      const MemoryFaults faults(1, MemoryFaults::Kind::Once);
      parser.emplace();
    }
    EXPECT_EQ(parser->parse("N:x"), 0);
    EXPECT_TRUE(parser->calls.empty());
  }
  EXPECT_EQ(MemoryFaults::blocks(), before);
}

TEST(ReaderWithoutMemory, ReadsNothingAfterAFailure) {
  RecordingParser parser;
  {
    const MemoryFaults faults(1, MemoryFaults::Kind::Once);
    EXPECT_EQ(parser.parse("N;A=b:x"), 0);
  }
  EXPECT_EQ(parser.parse(":::N:x"), 0);
  EXPECT_TRUE(parser.calls.empty());
}

TEST(ReaderMemory, KeepsOnlyTheStateBlock) {
  const long before = MemoryFaults::blocks();
  { RecordingParser().parse("A.N;B=c;D:" + kLong + "\nM:x"); }
  EXPECT_EQ(MemoryFaults::blocks() - before, 1);
}

TEST(ReaderMemory, FreesALargeBufferAfterItsPropertyAndKeepsASmallOne) {
  const auto blocksAfter = [](const std::string& text) {
    RecordingParser parser;
    const long before = MemoryFaults::blocks();
    EXPECT_EQ(parser.parse(text), 1);
    return MemoryFaults::blocks() - before;
  };
  const long kept = blocksAfter("N:x\n");
  EXPECT_EQ(blocksAfter("N:" + std::string(1023, 'x') + "\n"), kept);
  EXPECT_EQ(blocksAfter("N:" + std::string(1025, 'x') + "\n"), kept - 1);
}

TEST(ReaderMemory, DoublesTheBufferOfALongLine) {
  RecordingParser parser;
  const MemoryFaults faults(20, MemoryFaults::Kind::FromThen);
  EXPECT_EQ(parser.parse("N:" + std::string(100000, 'x') + "\n"), 1);
}

TEST(ReaderMemory, LogsAConversionWithoutMemoryAsAnError) {
  CARD_Parser reader(nullptr);
  for (const auto charset : {CHARSET_UTF8, CHARSET_ISO_8859_1}) {
    const LogRecorder log;
    const MemoryFaults faults(1, MemoryFaults::Kind::Once);
    EXPECT_EQ(reader.data2Utf8("x", charset), nullptr);
    EXPECT_THAT(log.lines(), Contains(RecordedLine{"VCARD Parser", "CARD_Parser", 2,
                                                   "\tMemory allocation error!"}));
    EXPECT_EQ(log.has("<latin12Utf8"), charset == CHARSET_ISO_8859_1);
  }
}

TEST(ReaderMemory, WritesTheErrorWithTracingOff) {
  CARD_Parser reader(nullptr);
  const LogRecorder log(0);
  const MemoryFaults faults(1, MemoryFaults::Kind::Once);
  EXPECT_EQ(reader.data2Utf8("x", CHARSET_UTF8), nullptr);
  EXPECT_THAT(log.texts(), ElementsAre("\tMemory allocation error!"));
}

}  // namespace
}  // namespace test
