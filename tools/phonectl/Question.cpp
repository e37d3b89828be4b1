#include "tools/phonectl/Question.h"

#include <glib-unix.h>
#include <glibmm/main.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "tools/phonectl/Output.h"

namespace phonectl {

namespace {

/// Nobody types more than this as an answer.
constexpr std::size_t kMaxLine = 1000;

std::string questionFor(long long waiting) {
  const std::string choice = " [y]es/[n]o/[l]ater ";
  if (waiting == 1) return "Store it?" + choice;
  return std::to_string(waiting) + " cards wait, and the answer is for all of them. Store them?" +
         choice;
}

}  // namespace

Question::Question(OnAnswer onAnswer)
    : m_onAnswer(std::move(onAnswer)), m_terminal(::isatty(STDIN_FILENO) == 1) {}

Question::~Question() { close(); }

void Question::ask(long long waiting) {
  takeBack();
  if (m_ended) return;
  if (m_terminal) {
    ::tcflush(STDIN_FILENO, TCIFLUSH);
    m_input.clear();
  }
  prompt(questionFor(waiting));
  m_source = g_unix_fd_add(STDIN_FILENO,
                           static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR | G_IO_NVAL),
                           reinterpret_cast<GUnixFDSourceFunc>(onInput), this);
  if (m_input.find('\n') != std::string::npos) {
    m_idle = Glib::signal_idle().connect([this] {
      takeLine();
      return false;
    });
  }
}

void Question::takeBack() {
  if (m_prompt.empty()) return;
  close();
  printLine("");
}

void Question::prompt(const std::string& text) {
  m_prompt = text;
  printPrompt(text);
}

void Question::close() {
  m_prompt.clear();
  m_idle.disconnect();
  if (m_source != 0) g_source_remove(std::exchange(m_source, 0));
}

int Question::onInput(int, unsigned, void* self) {
  static_cast<Question*>(self)->readMore();
  // When the question was closed, its source has been removed already.
  return G_SOURCE_CONTINUE;
}

void Question::readMore() {
  std::array<char, 512> buffer{};
  const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (count <= 0) {
    m_ended = true;
    close();
    m_onAnswer(Answer::Ended);
    return;
  }
  m_input.append(buffer.data(), static_cast<std::size_t>(count));
  takeLine();
}

void Question::takeLine() {
  const std::size_t end = m_input.find('\n');
  if (end == std::string::npos) {
    if (m_input.size() > kMaxLine) m_input.resize(kMaxLine);
    return;
  }
  const std::string line = m_input.substr(0, end);
  m_input.erase(0, end + 1);
  answer(line);
}

void Question::answer(const std::string& line) {
  std::string word = line;
  word.erase(std::remove_if(word.begin(), word.end(), [](char c) { return c == ' ' || c == '\r'; }),
             word.end());
  const auto is = [&](const char* letter, const char* whole) {
    return word == letter || word == whole;
  };
  const bool yes = is("y", "yes") || is("Y", "YES") || word == "Yes";
  const bool no = is("n", "no") || is("N", "NO") || word == "No";
  const bool later = is("l", "later") || is("L", "LATER") || word == "Later";
  if (!yes && !no && !later) {
    prompt("Please answer y, n or l: ");
    return;
  }
  close();
  m_onAnswer(yes ? Answer::Yes : no ? Answer::No : Answer::Later);
}

}  // namespace phonectl
