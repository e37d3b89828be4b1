#include "tools/phonectl/ProgressBar.h"

#include <unistd.h>

#include <iostream>
#include <utility>

namespace phonectl {

namespace {

constexpr std::size_t kWidth = 30;
constexpr const char* kFreshLine = "\r\x1b[K";

}  // namespace

ProgressBar::ProgressBar(std::size_t total, std::string unit)
    : m_total(total), m_unit(std::move(unit)), m_terminal(::isatty(STDERR_FILENO) == 1) {
  draw();
}

ProgressBar::~ProgressBar() { wipe(); }

void ProgressBar::show(std::size_t done) {
  m_done = done;
  draw();
}

void ProgressBar::tell(const std::string& line) {
  wipe();
  std::cerr << line << std::endl;
  draw();
}

void ProgressBar::draw() {
  if (!m_terminal || m_total == 0) return;
  const std::size_t filled = m_done * kWidth / m_total;
  const std::string text = "[" + std::string(filled, '#') + std::string(kWidth - filled, '.') +
                           "] " + std::to_string(m_done) + " of " + std::to_string(m_total) + " " +
                           m_unit;
  if (text == m_shown) return;
  std::cerr << kFreshLine << text << std::flush;
  m_shown = text;
}

void ProgressBar::wipe() {
  if (m_shown.empty()) return;
  std::cerr << kFreshLine << std::flush;
  m_shown.clear();
}

}  // namespace phonectl
