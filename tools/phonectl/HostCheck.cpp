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

constexpr unsigned kTimeoutMilliseconds = 20000;

/// A child process and its output. It stays alive until GIO has called back.
class Child : public std::enable_shared_from_this<Child> {
 public:
  /// Null, and `problem` set, if it can't be started.
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
  /// "exit code 1". Only after it has ended.
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

/// phone-host is installed and built beside this program.
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
    diagnosis.fault("plug-in", "can't be loaded without " + shown,
                    "install phone-host beside phonectl (package obexphone)");
    diagnosis.unknown("phonebook", "not checked: there is no phone-host");
    return;
  }
  ask(program.string());
  const host::Problem silent{"phone-host --check reported nothing: " + m_end,
                             "run it yourself: " + shown + " --check"};
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
      m_signals, [&] { return child->ended(); }, kTimeoutMilliseconds);
  if (!ended) child->kill();
  throwIfLeft(m_signals);
  // Output from before it was killed counts.
  runUntil(
      m_signals, [&] { return child->ended(); }, kTimeoutMilliseconds);
  m_end = ended ? child->end() : "it didn't end";
  read(child->output());
}

/// Parses the lines that `host::StartCheck` prints.
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
