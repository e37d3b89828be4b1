#include "tools/phonectl/Duration.h"

#include <CLI/CLI.hpp>
#include <map>

namespace phonectl {

namespace {

constexpr int kMinute = 60;
constexpr int kHour = 60 * kMinute;

std::string counted(int number, const std::string& unit) {
  return std::to_string(number) + " " + unit + (number == 1 ? "" : "s");
}

}  // namespace

std::optional<int> parseDuration(std::string text) {
  const std::map<std::string, int> units{{"s", 1}, {"m", kMinute}, {"h", kHour}};
  try {
    CLI::AsNumberWithUnit(units, CLI::AsNumberWithUnit::UNIT_REQUIRED)(text);
  } catch (const CLI::ValidationError&) {
    return std::nullopt;
  }
  const int seconds = std::stoi(text);
  return seconds >= 1 && seconds <= 24 * kHour ? std::optional(seconds) : std::nullopt;
}

std::string durationText(int seconds) {
  if (seconds % kHour == 0) return counted(seconds / kHour, "hour");
  if (seconds % kMinute == 0) return counted(seconds / kMinute, "minute");
  return counted(seconds, "second");
}

}  // namespace phonectl
