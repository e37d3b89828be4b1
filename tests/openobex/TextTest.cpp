#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "openobex/openobex.h"

namespace openobex {
namespace {

class TextTest : public ::testing::Test {
 protected:
  // Exact allocations, so that sanitizers detect accesses beyond them.
  int Widen(const std::string& text, std::size_t size) {
    auto buffer = std::make_unique<std::uint8_t[]>(size);
    std::memset(buffer.get(), 0xEE, size);
    std::memcpy(buffer.get(), text.c_str(), std::min(size, text.size() + 1));
    const int length = OBEX_CharToUnicode(buffer.get(), buffer.get(), static_cast<int>(size));
    if (length > 0)
      m_wide.assign(reinterpret_cast<char*>(buffer.get()), static_cast<std::size_t>(length));
    return length;
  }

  int Narrow(const std::string& units, int size) {
    auto source = std::make_unique<std::uint8_t[]>(units.size() + 1);
    std::memcpy(source.get(), units.data(), units.size());
    auto buffer = std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(size));
    const int length = OBEX_UnicodeToChar(buffer.get(), source.get(), size);
    if (length > 0) m_narrow = reinterpret_cast<char*>(buffer.get());
    return length;
  }

  std::string m_wide;
  std::string m_narrow;
};

TEST_F(TextTest, WidensInPlaceWithTerminator) {
  EXPECT_EQ(Widen("a.vcf", 200), 12);
  EXPECT_EQ(m_wide, std::string("\0a\0.\0v\0c\0f\0\0", 12));
}

TEST_F(TextTest, WidensAnEmptyText) {
  EXPECT_EQ(Widen("", 200), 2);
  EXPECT_EQ(m_wide, std::string(2, '\0'));
}

TEST_F(TextTest, WidensNinetyNineCharactersInTwoHundredBytes) {
  EXPECT_EQ(Widen(std::string(99, 'x'), 200), 200);
}

TEST_F(TextTest, RefusesAHundredCharactersInTwoHundredBytes) {
  EXPECT_EQ(Widen(std::string(100, 'x'), 200), -1);
}

TEST_F(TextTest, RefusesATextThatFillsTheBufferWithoutEnd) {
  EXPECT_EQ(Widen(std::string(400, 'x'), 200), -1);
}

TEST_F(TextTest, RefusesASizeThatHoldsNoUnit) {
  std::uint8_t byte = 0;
  EXPECT_EQ(OBEX_CharToUnicode(&byte, &byte, 1), -1);
  EXPECT_EQ(OBEX_CharToUnicode(&byte, &byte, -5), -1);
  EXPECT_EQ(OBEX_CharToUnicode(nullptr, &byte, 200), -1);
}

TEST_F(TextTest, WidensBytesAboveAsciiUnchanged) {
  EXPECT_EQ(Widen("\xC3\xA6", 200), 6);
  EXPECT_EQ(m_wide, std::string("\0\xC3\0\xA6\0\0", 6));
}

TEST_F(TextTest, NarrowsUpToTheTerminator) {
  EXPECT_EQ(Narrow(std::string("\0a\0b\0\0\0c", 8), 5), 3);
  EXPECT_EQ(m_narrow, "ab");
}

TEST_F(TextTest, NarrowsAWholeValueWithoutTerminator) {
  EXPECT_EQ(Narrow(std::string("\0a\0.\0v\0c\0f", 10), 6), 6);
  EXPECT_EQ(m_narrow, "a.vcf");
}

TEST_F(TextTest, NeverReadsMoreUnitsThanTheTextHasRoomFor) {
  EXPECT_EQ(Narrow(std::string("\0a\0b\0c", 6), 3), 3);
  EXPECT_EQ(m_narrow, "ab");
}

TEST_F(TextTest, ReplacesUnitsAboveAByteByAQuestionMark) {
  // The low bytes are '.' and 0.
  EXPECT_EQ(Narrow(std::string("\0a\x01.\x02\0\0b", 8), 5), 5);
  EXPECT_EQ(m_narrow, "a??b");
}

TEST_F(TextTest, NarrowingNeedsRoomForTheTerminator) {
  std::uint8_t buffer[2] = {7, 7};
  const std::uint8_t unit[2] = {0, 'a'};
  EXPECT_EQ(OBEX_UnicodeToChar(buffer, unit, 0), -1);
  EXPECT_EQ(OBEX_UnicodeToChar(buffer, unit, 1), 1);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[1], 7);
}

}  // namespace
}  // namespace openobex
