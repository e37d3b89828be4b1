#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace phonectl {

/// What `phonectl doctor` has found out: one finding for each thing that a push needs.
///
/// Threads: a plain value.
class Diagnosis {
 public:
  enum class State { kGood, kFault, kUnknown };

  struct Finding {
    std::string what;  ///< "adapter"
    State state;
    std::string text;    ///< safe to show
    std::string remedy;  ///< of a fault
  };

  void good(const std::string& what, const std::string& text);
  void fault(const std::string& what, const std::string& text, const std::string& remedy);
  /// It could not be found out, because of something that is a fault itself.
  void unknown(const std::string& what, const std::string& text);

  [[nodiscard]] const std::vector<Finding>& findings() const { return m_findings; }
  /// Whether a push would arrive: nothing is wrong and nothing unknown.
  [[nodiscard]] bool healthy() const;

  [[nodiscard]] std::vector<std::string> lines() const;
  [[nodiscard]] nlohmann::ordered_json json() const;

 private:
  std::vector<Finding> m_findings;
};

}  // namespace phonectl
