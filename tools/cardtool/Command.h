#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace cardtool {

/// One command of cardtool: its place on the command line, and what it does.
///
/// Threads: main only.
class Command {
 public:
  virtual ~Command() = default;
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  /// Whether the command line asked for it.
  [[nodiscard]] bool chosen() const { return m_app->parsed(); }
  /// Does it. Returns the exit code, or throws Failure.
  virtual int run() = 0;

 protected:
  /// Adds the command to `parent`. `footer` stands at the end of its help.
  Command(CLI::App& parent, const std::string& name, const std::string& description,
          const std::string& footer);

  CLI::App& app() { return *m_app; }

 private:
  CLI::App* m_app;
};

}  // namespace cardtool
