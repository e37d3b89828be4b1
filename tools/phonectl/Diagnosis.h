#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace phonectl {

/// The findings of `phonectl doctor`, one for each requirement. A plain value.
class Diagnosis {
 public:
  enum class State { kGood, kFault, kUnknown };

  struct Finding {
    std::string what;  ///< the requirement: "adapter"
    State state;
    std::string text;    ///< safe to show
    std::string remedy;  ///< for a fault
  };

  void good(const std::string& what, const std::string& text);
  void fault(const std::string& what, const std::string& text, const std::string& remedy);
  /// Could not be checked because of another fault.
  void unknown(const std::string& what, const std::string& text);

  /// Whether a push would arrive: everything is good.
  [[nodiscard]] bool healthy() const;

  [[nodiscard]] std::vector<std::string> lines() const;
  [[nodiscard]] nlohmann::ordered_json json() const;

 private:
  std::vector<Finding> m_findings;
};

}  // namespace phonectl
