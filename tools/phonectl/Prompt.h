#pragma once

#include <sigc++/sigc++.h>

#include <functional>
#include <string>

namespace phonectl {

/// Asks the user on standard output what to do with the waiting cards and reads the answer, a line,
/// from standard input. Reads only while a prompt is open, so answers can be piped in; on a
/// terminal, anything typed before the prompt appeared is dropped.
///
/// Threads: the one that runs the default main loop.
class Prompt {
 public:
  enum class Answer {
    kYes,
    kNo,
    kLater,
    kUnclear,  ///< none of these: ask again
    kEnded     ///< end of input: there will be no more answers
  };
  /// Called from the main loop with the prompt closed. Must not throw.
  using OnAnswer = std::function<void(Answer)>;

  explicit Prompt(OnAnswer onAnswer);
  ~Prompt();
  Prompt(const Prompt&) = delete;
  Prompt& operator=(const Prompt&) = delete;

  /// Asks about `waiting` cards, replacing an open prompt. Does nothing after the end of input.
  /// Throws Failure if the output can't be written.
  void ask(long long waiting);
  /// Asks again after an unclear answer.
  void askAgain();
  /// Closes an open prompt and ends its line, so that something else can be printed. Throws as
  /// ask().
  void takeBack();

 private:
  static int onInput(int descriptor, unsigned condition, void* self);

  void open(const std::string& prompt);
  void close();
  void readMore();
  void takeLine();
  // Writes nothing: an error could not be thrown through the main loop.
  void finish(Answer answer);

  const OnAnswer m_onAnswer;
  const bool m_terminal;
  std::string m_input;  ///< read but not used yet
  bool m_ended = false;
  bool m_midLine = false;  ///< the cursor is behind a prompt
  unsigned m_source = 0;
  sigc::connection m_idle;
};

}  // namespace phonectl
