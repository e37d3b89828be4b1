#include "framework/src/Base64.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using framework_detail::decodeBase64;
using framework_detail::encodeBase64;

void expectPair(const std::string& bytes, const std::string& text) {
  EXPECT_EQ(encodeBase64(bytes), text);
  std::string decoded = "before";
  EXPECT_TRUE(decodeBase64(text, decoded)) << text;
  EXPECT_EQ(decoded, bytes);
}

void expectRefused(const std::string& text) {
  std::string decoded = "before";
  EXPECT_FALSE(decodeBase64(text, decoded)) << text;
  EXPECT_EQ(decoded, "before");
}

// The examples of RFC 4648.
TEST(Base64Test, KnownPairs) {
  expectPair("", "");
  expectPair("f", "Zg==");
  expectPair("fo", "Zm8=");
  expectPair("foo", "Zm9v");
  expectPair("foob", "Zm9vYg==");
  expectPair("fooba", "Zm9vYmE=");
  expectPair("foobar", "Zm9vYmFy");
}

TEST(Base64Test, EveryDigitIsUsed) {
  expectPair("\xfb\xff\xbe", "+/++");
  expectPair(std::string(3, '\0'), "AAAA");
  expectPair("\xff", "/w==");
}

TEST(Base64Test, AnyBytesComeBack) {
  std::mt19937 random(1);
  for (std::size_t length = 0; length < 300; ++length) {
    std::string bytes;
    while (bytes.size() < length) bytes += static_cast<char>(random());
    std::string decoded;
    EXPECT_TRUE(decodeBase64(encodeBase64(bytes), decoded));
    EXPECT_EQ(decoded, bytes);
  }
}

TEST(Base64Test, MissingPaddingIsRefused) {
  expectRefused("Zg");
  expectRefused("Zg=");
  expectRefused("Z");
}

TEST(Base64Test, PaddingAnywhereButAtTheEndIsRefused) {
  expectRefused("Zg==Zg==");
  expectRefused("Z===");
  expectRefused("====");
  expectRefused("Zg=v");
  expectRefused("=Zm8");
}

TEST(Base64Test, OtherCharactersAreRefused) {
  expectRefused("Zm9\n");
  expectRefused("Zm9-");
  expectRefused("Zm9\xff");
  expectRefused(std::string("Zm9\0", 4));
}

TEST(Base64Test, BitsBehindTheLastByteAreRefused) {
  expectRefused("Zh==");
  expectRefused("Zm9=");
}

}  // namespace
