#include "tools/phonectl/VisibleTime.h"

#include <charconv>

namespace phonectl {

namespace {

constexpr int kMinute = 60;
constexpr int kHour = 60 * kMinute;
constexpr int kLongest = 24 * kHour;

int unitOf(char letter) {
  switch (letter) {
    case 's':
      return 1;
    case 'm':
      return kMinute;
    case 'h':
      return kHour;
    default:
      return 0;
  }
}

std::string counted(int number, const std::string& unit) {
  return std::to_string(number) + " " + unit + (number == 1 ? "" : "s");
}

}  // namespace

std::optional<int> visibleTime(const std::string& text) {
  if (text == "always") return -1;
  if (text.size() < 2) return std::nullopt;
  int number = 0;
  const char* const end = text.data() + text.size() - 1;
  const auto result = std::from_chars(text.data(), end, number);
  const int unit = unitOf(text.back());
  if (result.ec != std::errc() || result.ptr != end || unit == 0) return std::nullopt;
  if (number < 1 || number > kLongest / unit) return std::nullopt;
  return number * unit;
}

std::string shownTime(int seconds) {
  if (seconds % kHour == 0) return counted(seconds / kHour, "hour");
  if (seconds % kMinute == 0) return counted(seconds / kMinute, "minute");
  return counted(seconds, "second");
}

}  // namespace phonectl
