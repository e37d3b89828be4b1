#include "tools/phonectl/Prompt.h"

#include <glib-unix.h>
#include <glibmm/main.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "tools/phonectl/Output.h"

namespace phonectl {

namespace {

// Longer answers are truncated.
constexpr std::size_t kMaxLine = 1000;

std::string questionFor(long long waiting) {
  const std::string choice = " [y]es/[n]o/[l]ater ";
  if (waiting == 1) return "Store it?" + choice;
  return std::to_string(waiting) +
         " cards are waiting; the answer applies to all of them. Store them?" + choice;
}

Prompt::Answer answerIn(const std::string& line) {
  std::string word;
  for (const char c : line) {
    if (c != ' ' && c != '\r') word += static_cast<char>(g_ascii_tolower(c));
  }
  if (word == "y" || word == "yes") return Prompt::Answer::kYes;
  if (word == "n" || word == "no") return Prompt::Answer::kNo;
  if (word == "l" || word == "later") return Prompt::Answer::kLater;
  return Prompt::Answer::kUnclear;
}

}  // namespace

Prompt::Prompt(OnAnswer onAnswer)
    : m_onAnswer(std::move(onAnswer)), m_terminal(::isatty(STDIN_FILENO) == 1) {}

Prompt::~Prompt() { close(); }

void Prompt::ask(long long waiting) {
  takeBack();
  if (m_ended) return;
  if (m_terminal) {
    ::tcflush(STDIN_FILENO, TCIFLUSH);
    m_input.clear();
  }
  open(questionFor(waiting));
}

void Prompt::askAgain() {
  takeBack();
  if (!m_ended) open("Please answer y, n or l: ");
}

void Prompt::takeBack() {
  close();
  if (!m_midLine) return;
  m_midLine = false;
  printLine("");
}

void Prompt::open(const std::string& prompt) {
  print(prompt);
  m_midLine = true;
  if (m_input.find('\n') != std::string::npos) {
    // Already read; the input may have ended since.
    m_idle = Glib::signal_idle().connect([this] {
      takeLine();
      return false;
    });
    return;
  }
  m_source = g_unix_fd_add(STDIN_FILENO,
                           static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR | G_IO_NVAL),
                           reinterpret_cast<GUnixFDSourceFunc>(onInput), this);
}

void Prompt::close() {
  m_idle.disconnect();
  if (m_source != 0) g_source_remove(std::exchange(m_source, 0));
}

int Prompt::onInput(int, unsigned, void* self) {
  static_cast<Prompt*>(self)->readMore();
  // close() has removed the source if the prompt was answered.
  return G_SOURCE_CONTINUE;
}

void Prompt::readMore() {
  std::array<char, 512> buffer{};
  const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (count <= 0) {
    m_ended = true;
    finish(Answer::kEnded);
    return;
  }
  m_input.append(buffer.data(), static_cast<std::size_t>(count));
  takeLine();
}

void Prompt::takeLine() {
  const std::size_t end = m_input.find('\n');
  if (end == std::string::npos) {
    if (m_input.size() > kMaxLine) m_input.resize(kMaxLine);
    return;
  }
  const std::string line = m_input.substr(0, end);
  m_input.erase(0, end + 1);
  // On a terminal, the user's Enter has ended the line.
  m_midLine = !m_terminal;
  finish(answerIn(line));
}

void Prompt::finish(Answer answer) {
  close();
  m_onAnswer(answer);
}

}  // namespace phonectl
