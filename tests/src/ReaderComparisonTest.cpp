// Differential test: the tokenizer and the card reader against plain reimplementations, on
// thousands of generated cards. Results, handler calls, photos and logs must be equal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <tuple>

#include "tests/src/CardFixture.h"
#include "tests/src/CardGenerator.h"
#include "tests/src/PlainCardReader.h"
#include "tests/src/RecordingParser.h"

namespace test {
namespace {

constexpr std::uint64_t kBlocks = 10;
/// Logs are compared for one card in this many, as every character writes a line.
constexpr std::size_t kLoggedCard = 10;

/// READER_COMPARISON_CARDS in the environment sets the number of cards of all blocks.
std::uint64_t cardsPerBlock() {
  constexpr std::uint64_t kDefaultCards = 20000;
  const char* const cards = std::getenv("READER_COMPARISON_CARDS");
  const std::uint64_t all = cards == nullptr ? kDefaultCards : std::strtoull(cards, nullptr, 10);
  return std::max<std::uint64_t>(all / kBlocks, 1);
}

/// Refuses a share of the calls, reproducibly.
class Refusals {
 public:
  Refusals(std::uint64_t seed, unsigned percent) : m_random(seed), m_percent(percent) {}
  bool accepts() { return m_random() % 100 >= m_percent; }

 private:
  std::mt19937_64 m_random;
  unsigned m_percent;
};

class PlainRecordingTokenizer : public PlainTokenizer {
 public:
  explicit PlainRecordingTokenizer(Refusals refusals) : m_refusals(refusals) {}

  std::vector<HandlerCall> calls;

 protected:
  bool onGroup(const std::string& group) override {
    return record({HandlerCall::Kind::Group, group, {}});
  }
  bool onProperty(const std::string& name,
                  const std::vector<PropertyParameter>& parameters) override {
    return record({HandlerCall::Kind::Property, name, parameters});
  }
  bool onData(const std::string& data) override {
    return record({HandlerCall::Kind::Data, data, {}});
  }
  bool onEnd() override { return record({HandlerCall::Kind::End, "", {}}); }

 private:
  bool record(HandlerCall call) {
    calls.push_back(std::move(call));
    return m_refusals.accepts();
  }

  Refusals m_refusals;
};

/// The lines without exit traces.
std::vector<RecordedLine> withoutExits(std::vector<RecordedLine> lines) {
  std::erase_if(lines, [](const RecordedLine& line) { return line.text.starts_with('<'); });
  return lines;
}

class ReaderComparison : public ::testing::TestWithParam<std::uint64_t> {
 protected:
  template <typename Comparison>
  void ForEachCard(Comparison compare) {
    const std::uint64_t cards = cardsPerBlock();
    for (std::uint64_t i = 0; i < cards && !HasFailure(); ++i) {
      const std::uint64_t seed = GetParam() * cards + i;
      CardGenerator generator(seed);
      const std::string card = generator.card();
      SCOPED_TRACE("card " + std::to_string(seed) + ": " + readable(card));
      compare(generator, card);
    }
  }
};

void CompareTokenizers(CardGenerator& dice, const std::string& card, bool logged) {
  Refusals refusals(dice.below(1000), dice.chance(50) ? 0 : 15);
  PlainRecordingTokenizer plain(refusals);
  if (logged) plain.keepLog();
  const bool expected = plain.parse(card);

  const LogRecorder log(logged ? kLogTrace : kLogError);
  RecordingParser parser;
  parser.answer = [refusals](const HandlerCall&) mutable { return refusals.accepts(); };
  EXPECT_EQ(parser.parse(card), expected ? 1 : 0);
  EXPECT_EQ(parser.calls, plain.calls);
  EXPECT_EQ(log.lines(), plain.log());
}

void CompareReaders(CardGenerator& dice, const std::string& card, bool logged) {
  RecordingStorage storage;
  storage.refuses = dice.chance(5);
  const bool noStorage = dice.chance(3);
  PlainCardReader plain;
  if (storage.refuses) plain.withRefusingStorage();
  if (noStorage) plain.withoutStorage();
  if (logged) plain.keepLog();

  LogRecorder log(logged ? kLogTrace : kLogError);
  CARD_Parser reader(noStorage ? nullptr : &storage);
  log.forget();
  EXPECT_EQ(readWith(reader, card), plain.parse(card) ? 1 : 0);
  EXPECT_EQ(reader.getPhoneBookWriteMessage("utf-8"), plain.message());
  EXPECT_EQ(storage.photos, plain.photos());
  if (!logged) return;
  EXPECT_EQ(withoutExits(log.lines()), plain.log());
}

/// Result, message and photos of one reading.
using Outcome = std::tuple<int, std::string, std::vector<StoredPhoto>>;

Outcome Read(const std::string& card) {
  RecordingStorage storage;
  CARD_Parser reader(&storage);
  const int result = readWith(reader, card);
  return {result, reader.getPhoneBookWriteMessage("utf-8"), storage.photos};
}

TEST_P(ReaderComparison, TokenizersCallTheSameHandlers) {
  ForEachCard([](CardGenerator& dice, const std::string& card) {
    CompareTokenizers(dice, card, dice.below(kLoggedCard) == 0);
  });
}

TEST_P(ReaderComparison, CardReadersMakeTheSameEntryAndPhotos) {
  ForEachCard([](CardGenerator& dice, const std::string& card) {
    CompareReaders(dice, card, dice.below(kLoggedCard) == 0);
  });
}

TEST_P(ReaderComparison, TracingChangesNothing) {
  ForEachCard([](CardGenerator&, const std::string& card) {
    const Outcome quiet = Read(card);
    const LogRecorder log;
    EXPECT_EQ(Read(card), quiet);
  });
}

INSTANTIATE_TEST_SUITE_P(MadeUpCards, ReaderComparison, ::testing::Range<std::uint64_t>(0, kBlocks),
                         [](const auto& block) { return "Block" + std::to_string(block.param); });

TEST(ZeroBytes, AreReadTheSameWhereverTheyStand) {
  const std::string card =
      "BEGIN:VCARD\r\nA.TEL;X=b;WORK:1\n 2\nN;CHARSET=UTF-8:a;b\nORG;ENCODING=QUOTED-PRINTABLE:"
      "=41=\n=42\nPHOTO;TYPE=GIF;BASE64:\n QUJD\n\nEND:VCARD\n";
  for (std::size_t place = 0; place <= card.size(); ++place) {
    for (const std::size_t count : {1U, 2U}) {
      std::string text = card;
      text.insert(place, count, '\0');
      SCOPED_TRACE(readable(text));
      CardGenerator dice(place);
      CompareTokenizers(dice, text, true);
      CompareReaders(dice, text, true);
    }
  }
}

/// Guards the generator: enough cards must succeed, fail, and carry a photo.
TEST(MadeUpCards, AreOftenReadAndOftenRefused) {
  int read = 0;
  int withPhoto = 0;
  int refused = 0;
  for (std::uint64_t seed = 0; seed < 1000; ++seed) {
    PlainCardReader plain;
    const bool good = plain.parse(CardGenerator(seed).card());
    read += good ? 1 : 0;
    refused += good ? 0 : 1;
    withPhoto += plain.photos().empty() ? 0 : 1;
  }
  EXPECT_GT(read, 200);
  EXPECT_GT(refused, 200);
  EXPECT_GT(withPhoto, 100);
}

}  // namespace
}  // namespace test
