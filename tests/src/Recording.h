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

/// Everything that the code under test does, in one sequence: log lines (tracing is on), calls of
/// the framework and of OpenOBEX, and what the test's own fakes add. A program that links
/// RecordingFramework.cpp runs on a framework that never sleeps, never blocks, writes no file, and
/// runs a thread's body inside `Threadable::waitForThreadCompletion`.
///
///     Recording recording("OBEXService");
///     service.vCardsRejected();
///     recording.expect({">vCardsRejected", "take cards", "give cards", "<vCardsRejected"});
///
/// A trace line stands for itself. "error: " precedes a line at the error level, the name of the
/// source file a line of any other file than the one given to the constructor. Addresses are
/// numbered: "P1", "P2". Of the card reader and the card builder, which have tests of their own,
/// only construction and destruction are kept.
///
/// Threads: one thread only, and one object at a time. Without one, the framework works silently.
class Recording : public LogSink {
 public:
  /// `source` is the file under test: "OBEXServer" for "./src/OBEXServer.cpp".
  explicit Recording(std::string source);
  ~Recording() override;
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// Adds an entry to the recording that lives, if one does.
  static void add(const std::string& entry);
  /// Adds each call of OpenOBEX: "OBEX_HandleInput 10", "OBEX_Cleanup null".
  void listenTo(openobex::fake::FakeOpenObex& obex);
  /// Adds "delete NAME" when the object at this address is deleted.
  void watch(const void* object, const std::string& name) { m_watched[object] = name; }

  /// Compares everything since the last call of `expect` or `forget`, and forgets it.
  void expect(const Entries& entries) { expectEntries(std::exchange(m_entries, {}), entries); }
  void forget() { m_entries.clear(); }
  [[nodiscard]] const Entries& entries() const { return m_entries; }
  [[nodiscard]] long count(const std::string& entry) const;
  /// Contacts that were copied to the heap and not deleted.
  [[nodiscard]] int liveContacts() const;

  void write(const LogLine& line) override;

  /// Called after each new entry; what it does is recorded, too, but not handed to it.
  std::function<void(const std::string&)> onEntry;

  // What the framework is to do.
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
