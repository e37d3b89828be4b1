#include "tools/phonectl/WatchCommand.h"

#include <unistd.h>

#include <memory>
#include <string>

#include "tools/phonectl/WatchJson.h"
#include "tools/phonectl/WatchText.h"

namespace phonectl {

namespace {

constexpr const char* kExplanation =
    "In a terminal, --ask is the default; elsewhere cards are only shown, and wait for `phonectl\n"
    "accept` or `phonectl reject`. An answer is for every card that waits, also for those that\n"
    "came in before. Ctrl-C or SIGTERM end it, with exit code 0; when the phone is restarted, it\n"
    "subscribes again.\n\n";

}  // namespace

WatchCommand::WatchCommand(CLI::App& parent)
    : Command(parent, "watch", "Show cards as they come in, and answer for them",
              std::string(kExplanation) + WatchJson::vocabulary()) {
  CLI::Option* const json = app().add_flag("--json", m_json, "One JSON object a line");
  CLI::Option* const accept = app().add_flag("--accept", m_accept, "Have every card stored");
  CLI::Option* const reject = app().add_flag("--reject", m_reject, "Have every card thrown away");
  CLI::Option* const ask = app().add_flag("--ask", m_ask, "Ask, and read answers from the input");
  accept->excludes(reject)->excludes(ask);
  reject->excludes(ask);
  ask->excludes(json);
}

int WatchCommand::run(PhoneBus& bus) {
  std::unique_ptr<WatchView> view;
  if (m_json) {
    view = std::make_unique<WatchJson>();
  } else {
    view = std::make_unique<WatchText>();
  }
  return Watch(bus, *view, mode()).run();
}

Watch::Mode WatchCommand::mode() const {
  if (m_accept) return Watch::Mode::Accept;
  if (m_reject) return Watch::Mode::Reject;
  const bool terminal = ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1;
  return m_ask || (terminal && !m_json) ? Watch::Mode::Ask : Watch::Mode::Show;
}

}  // namespace phonectl
