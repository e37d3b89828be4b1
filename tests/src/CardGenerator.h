#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>

namespace test {

/// Generates cards: regular, odd and damaged ones. The same seed gives the same card within one
/// build.
class CardGenerator {
 public:
  explicit CardGenerator(std::uint64_t seed) : m_random(seed) {}

  std::string card();

  // Random choices for the test itself.

  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(m_random() % bound); }
  bool chance(std::size_t percent) { return below(100) < percent; }

 private:
  std::string pick(std::initializer_list<const char*> choices);
  std::string wholeCard();
  std::string property();
  std::string textProperty();
  std::string telephone();
  std::string photo();
  std::string strangeLine();
  std::string soup();

  std::string nameOf(std::string name);
  std::string parameter();
  std::string charsetParameter();
  std::string text();
  std::string quotedPrintable(const std::string& text);
  std::string base64(const std::string& bytes);
  std::string folded(const std::string& data);
  std::string bytes(std::size_t count);
  std::string encodedData(const std::string& encoding, const std::string& data);
  std::string lineEnd();
  void damage(std::string& card);
  char interestingByte();

  std::mt19937_64 m_random;
  std::string m_lineEnd = "\n";
};

}  // namespace test
