#include "tools/phonectl/HostCheck.h"

#include <gio/gio.h>

#include <filesystem>
#include <memory>
#include <sstream>

#include "cards/SafeText.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kPatienceMilliseconds = 20000;

/// A child process and what it prints. The callback may come when nobody waits any more.
class Child : public std::enable_shared_from_this<Child> {
 public:
  /// Null when it can't be started; `problem` says why.
  static std::shared_ptr<Child> start(const std::string& program, std::string& problem) {
    GError* error = nullptr;
    constexpr auto kFlags = static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                                          G_SUBPROCESS_FLAGS_STDERR_SILENCE);
    GSubprocess* const process =
        g_subprocess_new(kFlags, &error, program.c_str(), "--check", nullptr);
    if (process == nullptr) {
      problem = error->message;
      g_error_free(error);
      return nullptr;
    }
    const auto child = std::shared_ptr<Child>(new Child(process));
    g_subprocess_communicate_async(process, nullptr, nullptr, &Child::onEnd,
                                   new std::shared_ptr<Child>(child));
    return child;
  }
  ~Child() { g_object_unref(m_process); }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void kill() { g_subprocess_force_exit(m_process); }
  [[nodiscard]] bool ended() const { return m_ended; }
  [[nodiscard]] const std::string& output() const { return m_output; }
  /// "exit code 1"; only when it has ended.
  [[nodiscard]] std::string end() const {
    if (g_subprocess_get_if_signaled(m_process) != FALSE)
      return "signal " + std::to_string(g_subprocess_get_term_sig(m_process));
    return "exit code " + std::to_string(g_subprocess_get_exit_status(m_process));
  }

 private:
  explicit Child(GSubprocess* process) : m_process(process) {}

  static void onEnd(GObject*, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<std::shared_ptr<Child>> self(static_cast<std::shared_ptr<Child>*>(data));
    GBytes* bytes = nullptr;
    g_subprocess_communicate_finish((*self)->m_process, result, &bytes, nullptr, nullptr);
    if (bytes != nullptr) {
      gsize size = 0;
      const auto* const text = static_cast<const char*>(g_bytes_get_data(bytes, &size));
      if (text != nullptr) (*self)->m_output.assign(text, size);
      g_bytes_unref(bytes);
    }
    (*self)->m_ended = true;
  }

  GSubprocess* const m_process;
  std::string m_output;
  bool m_ended = false;
};

/// Where phone-host is installed or built: beside this program.
fs::path hostProgram() {
  std::error_code error;
  return fs::read_symlink("/proc/self/exe", error).parent_path() / "phone-host";
}

}  // namespace

void HostCheck::examine(Diagnosis& diagnosis) {
  const fs::path program = hostProgram();
  const std::string shown = cards::safeText(program.string());
  std::error_code error;
  if (!fs::exists(program, error)) {
    diagnosis.fault("plug-in", "there is no " + shown + " to load it",
                    "install the telephone beside phonectl (package obexphone)");
    diagnosis.unknown("phonebook", "not known: there is no phone-host to look at it");
    return;
  }
  ask(program.string());
  const host::Problem silent{"phone-host was asked to try it, and said nothing: " + m_end,
                             "see what it says: " + shown + " --check"};
  tell(diagnosis, "plug-in", silent);
  tell(diagnosis, "phonebook", silent);
}

void HostCheck::ask(const std::string& program) {
  std::string problem;
  const std::shared_ptr<Child> child = Child::start(program, problem);
  if (!child) {
    m_end = cards::safeText(problem);
    return;
  }
  const bool ended = runUntil(
      m_signals, [&] { return child->ended(); }, kPatienceMilliseconds);
  if (!ended) child->kill();
  throwIfLeft(m_signals);
  // What it had said before it was killed counts.
  runUntil(
      m_signals, [&] { return child->ended(); }, kPatienceMilliseconds);
  m_end = ended ? child->end() : "it did not end";
  read(child->output());
}

/// Lines as `host::StartCheck` prints them.
void HostCheck::read(const std::string& output) {
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t first = line.find(": ");
    const std::size_t second = first == std::string::npos ? first : line.find(": ", first + 2);
    if (second == std::string::npos) continue;
    const std::string kind = line.substr(0, first);
    const std::string what = line.substr(first + 2, second - first - 2);
    const std::string text = cards::safeText(line.substr(second + 2));
    if (kind == "ok") m_good[what] = text;
    if (kind == "FAULT") m_faults[what].text = text;
    if (kind == "remedy") m_faults[what].remedy = text;
  }
}

void HostCheck::tell(Diagnosis& diagnosis, const std::string& what,
                     const host::Problem& unless) const {
  const auto good = m_good.find(what);
  const auto fault = m_faults.find(what);
  if (fault != m_faults.end()) {
    diagnosis.fault(what, fault->second.text, fault->second.remedy);
  } else if (good != m_good.end()) {
    diagnosis.good(what, good->second);
  } else {
    diagnosis.fault(what, unless.text, unless.remedy);
  }
}

}  // namespace phonectl
