// The reader's time is linear in the length of its input, whatever the input repeats.

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <string>

#include "tests/src/CardFixture.h"

namespace test {
namespace {

/// Empty handlers, so that only the tokenizer is measured.
class IdleParser : public CARDCAL_Parser {
 public:
  explicit IdleParser(bool refusing) : m_refusing(refusing) {}

  int propHandler(const char*, const char**) override { return m_refusing ? 0 : 1; }
  int dataHandler(const char*, int) override { return 1; }
  int groupHandler(const char*) override { return 1; }

 private:
  bool m_refusing;
};

std::string repeated(const std::string& text, std::size_t count) {
  std::string all;
  all.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

/// This thread's CPU time in seconds.
double timeOf(const std::function<void()>& work) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double begin = now();
  work();
  return now() - begin;
}

using Reading = std::function<void(const std::string&)>;

void readIdly(const std::string& text) {
  IdleParser(false).parse(reinterpret_cast<const unsigned char*>(text.data()),
                          static_cast<int>(text.size()));
}

void readRefusing(const std::string& text) {
  IdleParser(true).parse(reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<int>(text.size()));
}

void readCard(const std::string& lines) {
  RecordingStorage storage;
  CARD_Parser reader(&storage);
  EXPECT_EQ(readWith(reader, "BEGIN:VCARD\n" + lines + "\n"), 1);
  EXPECT_GT(reader.getPhoneBookWriteMessage("utf-8").size(), 0U);
}

/// Makes a text with the given number of repetitions.
using Text = std::function<std::string(std::size_t)>;

/// Compares a text with one of 32 times its repetitions: quadratic time would take 1024 times as
/// long; less than 256 times is required in one of several trials.
void ExpectLinear(const Reading& read, const Text& text) {
  constexpr std::size_t kCount = 12500;
  // A byte of a large text costs more: its memory comes from the system each time.
  constexpr std::size_t kGrowth = 32;
  constexpr double kLargest = 8.0 * kGrowth;
  constexpr int kTrials = 10;
  const std::string small = text(kCount);
  const std::string large = text(kGrowth * kCount);
  double ratio = 0;
  for (int trial = 0; trial < kTrials; ++trial) {
    const double least = std::min(
        {timeOf([&] { read(small); }), timeOf([&] { read(small); }), timeOf([&] { read(small); })});
    ratio = timeOf([&] { read(large); }) / least;
    if (ratio < kLargest) return;
  }
  ADD_FAILURE() << kGrowth << " times " << small.substr(0, 20) << "... took " << ratio
                << " times as long";
}

void ExpectLinear(const Reading& read, const std::string& before, const std::string& piece,
                  const std::string& after = "") {
  ExpectLinear(read, [&](std::size_t count) { return before + repeated(piece, count) + after; });
}

TEST(ReaderSpeed, IsLinearForManyParameters) {
  ExpectLinear(readIdly, "N", ";A", ":x");
  ExpectLinear(readIdly, "N", ";A=b", ":x");
}

TEST(ReaderSpeed, IsLinearForManyGroups) {
  ExpectLinear(readIdly, "", "A.", "N:x");
  ExpectLinear(readIdly, "", "A.N:x\n");
}

TEST(ReaderSpeed, IsLinearForManyColons) { ExpectLinear(readIdly, "", ":"); }

TEST(ReaderSpeed, IsLinearForManyRefusals) {
  ExpectLinear(readRefusing, "N;A=b", ":");
  ExpectLinear(readRefusing, "A.N;A=b", ":.c");
}

TEST(ReaderSpeed, IsLinearForManyRefusalsOfALongName) {
  ExpectLinear(readRefusing, [](std::size_t count) {
    return repeated("n", count) + ";A=b" + repeated(":", count);
  });
}

TEST(ReaderSpeed, IsLinearForManyRefusalsOfManyParameters) {
  ExpectLinear(readRefusing, [](std::size_t count) {
    return "N" + repeated(";A=b", count) + repeated(":", count);
  });
}

TEST(ReaderSpeed, IsLinearForManyRefusalsWithNewParameters) {
  ExpectLinear(readRefusing, "N;A=b", ":;C=d");
  ExpectLinear(readRefusing, [](std::size_t count) {
    return "N;A=b:" + repeated(";C=d", count) + repeated(":", count);
  });
}

TEST(ReaderSpeed, IsLinearForLongData) {
  ExpectLinear(readIdly, "N:", "x");
  ExpectLinear(readIdly, "N;QUOTED-PRINTABLE:", "=41=\n");
  ExpectLinear(readIdly, "N;BASE64:", "\n QUJD");
}

TEST(ReaderSpeed, IsLinearForManyLines) {
  ExpectLinear(readIdly, "", "no property\n");
  ExpectLinear(readIdly, "", "\n");
  ExpectLinear(readIdly, "", "N;A=b:x\n y\n");
}

TEST(ReaderSpeed, IsLinearForLongCards) {
  ExpectLinear(readCard, "N:", ";");
  ExpectLinear(readCard, "N:", "\xE9");
  ExpectLinear(readCard, "ADR;CHARSET=UTF-8:", "\xC3\xA9");
  ExpectLinear(readCard, "", "TEL;CELL;PREF:1\n");
  ExpectLinear(readCard, "TEL", ";CELL", ":1");
  ExpectLinear(readCard, "PHOTO", ";TYPE=PNG", ":1");
}

TEST(ReaderSpeed, EscapesLongFieldsInLinearTime) {
  ExpectLinear(readCard, "ORG:", "&");
  ExpectLinear(readCard, "N:", "<'\">&");
}

}  // namespace
}  // namespace test
