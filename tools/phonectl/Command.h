#pragma once

#include <CLI/CLI.hpp>

#include "tools/phonectl/PhoneBus.h"

namespace phonectl {

/// One command of phonectl: its place on the command line, and what it does.
///
/// Threads: main only.
class Command {
 public:
  virtual ~Command() = default;
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  /// Whether the command line asked for it.
  [[nodiscard]] bool chosen() const { return m_app->parsed(); }
  /// Does it, with the phone on this bus. Returns the exit code, or throws Failure.
  virtual int start(const dbus::BusAddress& place);

 protected:
  /// Adds the command to `parent`. `footer` stands at the end of its help.
  Command(CLI::App& parent, const std::string& name, const std::string& description,
          const std::string& footer);

  /// The same, connected to the phone's bus.
  virtual int run(PhoneBus& bus) = 0;

  CLI::App& app() { return *m_app; }

 private:
  CLI::App* m_app;
};

}  // namespace phonectl
