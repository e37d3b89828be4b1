#pragma once

#include <string>

#include "host/app/Options.h"
#include "host/app/Problem.h"

namespace host {

/// `phone-host --check`: whether the telephone could start, found out without starting it. Prints
/// one line for each thing that it needs, and one with the remedy behind a fault:
///
///     ok: phonebook: the default one, sqlite3://…, can be opened
///     FAULT: plug-in: the default one: …
///     remedy: plug-in: …
///
/// Threads: the main thread, before any other is started.
class StartCheck {
 public:
  explicit StartCheck(const Options& options) : m_options(options) {}

  /// Whether nothing is wrong.
  bool run();

 private:
  void checkPhonebook();
  void checkImages();
  void checkPlugin();
  void good(const char* what, const std::string& text);
  void fault(const char* what, const Problem& problem);

  const Options& m_options;
  bool m_good = true;
};

}  // namespace host
