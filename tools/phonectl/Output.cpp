#include "tools/phonectl/Output.h"

#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <utility>

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

void printLine(const std::string& line) { print(line + "\n"); }

void print(const std::string& text) {
  errno = 0;
  std::cout << text << std::flush;
  if (std::cout.good()) return;
  const char* const reason = errno == 0 ? nullptr : ::strerrordesc_np(errno);
  throw Failure(kFailed, std::string("can't write to standard output: ") +
                             (reason == nullptr ? "it is closed" : reason));
}

ProgressBar::ProgressBar(std::size_t total, std::string unit)
    : m_total(total), m_unit(std::move(unit)), m_terminal(::isatty(STDERR_FILENO) == 1) {
  draw();
}

ProgressBar::~ProgressBar() { erase(); }

void ProgressBar::show(std::size_t done) {
  m_done = done;
  draw();
}

void ProgressBar::printLine(const std::string& line) {
  erase();
  std::cerr << line << std::endl;
  draw();
}

void ProgressBar::draw() {
  constexpr std::size_t kWidth = 30;
  if (!m_terminal || m_total == 0) return;
  const std::size_t filled = m_done * kWidth / m_total;
  const std::string text = "[" + std::string(filled, '#') + std::string(kWidth - filled, '.') +
                           "] " + std::to_string(m_done) + " of " + std::to_string(m_total) + " " +
                           m_unit;
  if (text == m_shown) return;
  std::cerr << kEraseLine << text << std::flush;
  m_shown = text;
}

void ProgressBar::erase() {
  if (m_shown.empty()) return;
  std::cerr << kEraseLine << std::flush;
  m_shown.clear();
}

}  // namespace phonectl
