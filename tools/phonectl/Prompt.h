#pragma once

#include <sigc++/sigc++.h>

#include <functional>
#include <string>

namespace phonectl {

/// Asks the user on standard output what to do with the waiting cards, and reads the answer, a
/// line, from standard input. Input is read only while a question is open, so that answers can be
/// piped in; what was typed into a terminal before the question stood there is dropped, since it
/// was meant for something else.
///
/// Threads: the one that runs the default main loop.
class Prompt {
 public:
  enum class Answer {
    Yes,
    No,
    Later,
    Unclear,  ///< none of these: ask again
    Ended     ///< there is no more input: no question will be answered any more
  };
  /// Called from the main loop, when the question is closed already. No exception may leave it.
  using OnAnswer = std::function<void(Answer)>;

  explicit Prompt(OnAnswer onAnswer);
  ~Prompt();
  Prompt(const Prompt&) = delete;
  Prompt& operator=(const Prompt&) = delete;

  /// Asks about `waiting` cards. An open question is replaced. Does nothing once the input has
  /// ended. Throws Failure when the output can't be written.
  void ask(long long waiting);
  /// After an unclear answer.
  void askAgain();
  /// Takes an open question back, and ends the line of an answered one where the user hasn't, so
  /// that something else can be shown. Throws as `ask`.
  void takeBack();

 private:
  static int onInput(int descriptor, unsigned condition, void* self);

  void open(const std::string& prompt);
  void close();
  void readMore();
  void takeLine();
  /// Nothing may be written here: an error could not be told from inside the main loop.
  void finish(Answer answer);

  const OnAnswer m_onAnswer;
  const bool m_terminal;
  std::string m_input;  ///< what was read and isn't used yet
  bool m_ended = false;
  bool m_midLine = false;  ///< the output stands behind a question
  unsigned m_source = 0;
  sigc::connection m_idle;
};

}  // namespace phonectl
