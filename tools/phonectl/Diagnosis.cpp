#include "tools/phonectl/Diagnosis.h"

#include <algorithm>

namespace phonectl {

namespace {

const char* wordOf(Diagnosis::State state) {
  switch (state) {
    case Diagnosis::State::kGood:
      return "ok     ";
    case Diagnosis::State::kFault:
      return "FAULT  ";
    case Diagnosis::State::kUnknown:
      break;
  }
  return "?      ";
}

}  // namespace

void Diagnosis::good(const std::string& what, const std::string& text) {
  m_findings.push_back({what, State::kGood, text, ""});
}

void Diagnosis::fault(const std::string& what, const std::string& text, const std::string& remedy) {
  m_findings.push_back({what, State::kFault, text, remedy});
}

void Diagnosis::unknown(const std::string& what, const std::string& text) {
  m_findings.push_back({what, State::kUnknown, text, ""});
}

bool Diagnosis::healthy() const {
  return std::all_of(m_findings.begin(), m_findings.end(),
                     [](const Finding& finding) { return finding.state == State::kGood; });
}

std::vector<std::string> Diagnosis::lines() const {
  constexpr std::size_t kWidth = 12;
  std::vector<std::string> lines;
  for (const Finding& finding : m_findings) {
    std::string what = finding.what;
    what.resize(std::max(what.size() + 1, kWidth), ' ');
    lines.push_back(wordOf(finding.state) + what + finding.text);
    if (!finding.remedy.empty()) lines.push_back("       remedy:     " + finding.remedy);
  }
  return lines;
}

nlohmann::ordered_json Diagnosis::json() const {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Finding& finding : m_findings) {
    nlohmann::ordered_json one{{"check", finding.what},
                               {"ok", finding.state == State::kGood},
                               {"known", finding.state != State::kUnknown},
                               {"text", finding.text}};
    if (!finding.remedy.empty()) one["remedy"] = finding.remedy;
    all.push_back(one);
  }
  return all;
}

}  // namespace phonectl
