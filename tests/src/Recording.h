#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "framework/Logging.h"
#include "tests/openobex/FakeOpenObex.h"

class Semaphore;
class Threadable;

namespace test {

using Entries = std::vector<std::string>;

/// Compares two sequences, one entry a line.
void expectEntries(const Entries& actual, const Entries& expected);
/// The parts of a sequence, joined.
Entries joined(const std::vector<Entries>& parts);

/// Records what the code under test does as one sequence: log lines (tracing is on), calls of the
/// framework and of OpenOBEX, and what the test's fakes add. A program that links
/// RecordingFramework.cpp has a framework that never sleeps, blocks or writes a file, and runs a
/// thread's body inside `Threadable::waitForThreadCompletion`.
///
///     Recording recording("OBEXService");
///     service.vCardsRejected();
///     recording.expect({">vCardsRejected", "take cards", "give cards", "<vCardsRejected"});
///
/// A trace line is recorded as it is, an error line behind "error: ", a line of another source file
/// than the one given to the constructor behind that file's name. Addresses are numbered: "P1",
/// "P2". Of the card reader and the card builder, which have tests of their own, only construction
/// and destruction are recorded.
///
/// Threads: single-threaded. One recording at a time; without one, the framework is silent.
class Recording : public LogSink {
 public:
  /// `source` is the file under test: "OBEXServer" for "./src/OBEXServer.cpp".
  explicit Recording(std::string source);
  ~Recording() override;
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// Adds an entry to the current recording, if there is one.
  static void add(const std::string& entry);
  /// Records each call of OpenOBEX: "OBEX_HandleInput 10", "OBEX_Cleanup null".
  void listenTo(openobex::fake::FakeOpenObex& obex);
  /// Records "delete NAME" when the object at this address is deleted.
  void watch(const void* object, const std::string& name) { m_watched[object] = name; }

  /// Compares everything since the last call of `expect` or `forget`, and forgets it.
  void expect(const Entries& entries) { expectEntries(std::exchange(m_entries, {}), entries); }
  void forget() { m_entries.clear(); }
  [[nodiscard]] const Entries& entries() const { return m_entries; }
  [[nodiscard]] long count(const std::string& entry) const;
  /// Copies of contacts that were not deleted.
  [[nodiscard]] int liveContacts() const;

  void write(const LogLine& line) override;

  /// Called after each new entry, but not for the entries that it causes itself.
  std::function<void(const std::string&)> onEntry;

  // Faults of the framework.
  bool refusesThreads = false;
  bool refusesFiles = false;       ///< `Storage::init` fails
  bool refusesBytes = false;       ///< `Storage::store` fails
  bool refusesAllocation = false;  ///< `new (std::nothrow)` gives null

  struct Thread {
    std::string type;
    bool runs;
  };
  /// Spawned and not waited for.
  std::map<Threadable*, Thread> threads;

  // For RecordingFramework.cpp only.
  static Recording* current();
  const std::string& nameOf(const Semaphore* semaphore);
  void deleted(const void* object);
  unsigned long lastThreadId = 0;

 private:
  std::string numberAddresses(std::string text);

  std::string m_source;
  Entries m_entries;
  std::map<const Semaphore*, std::string> m_semaphores;
  std::map<const void*, std::string> m_watched;
  std::vector<std::string> m_addresses;
};

}  // namespace test
