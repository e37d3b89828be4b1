#include "tools/phonectl/Failure.h"

#include <cctype>

namespace phonectl {

namespace {

std::string joined(const std::string& sentence, std::string remedy) {
  if (remedy.empty()) return sentence;
  remedy.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(remedy.front())));
  return sentence + ". " + remedy;
}

}  // namespace

Failure::Failure(int exitCode, const std::string& sentence, const std::string& remedy)
    : std::runtime_error(joined(sentence, remedy)),
      m_exitCode(exitCode),
      m_sentence(sentence),
      m_remedy(remedy) {}

}  // namespace phonectl
