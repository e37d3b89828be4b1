#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/push/JournalTable.h"

namespace host {

/// Follows every push: what happened on the link, whether its card waits for the user's answer, and
/// what the phonebook did with it. Produces the journal's entries, and knows whether every waiting
/// card came from a device whose cards are stored without asking.
///
/// The service's own queue is not visible here. But the service notifies its observers at the
/// moment it queues a card, and keeps the queue locked while it stores a batch; so the tracker's
/// queue matches it, and the cards of a batch are identified by their order. Where the numbers
/// don't match, the outcome is recorded as not known.
///
/// Threads: any. The link's thread reports link events, the service thread the user's answers.
class PushTracker {
 public:
  /// Receives each entry when it is created and whenever it changes. Must not block.
  using Write = std::function<void(const JournalEntry&)>;

  explicit PushTracker(Write write) : m_write(std::move(write)) {}
  PushTracker(const PushTracker&) = delete;
  PushTracker& operator=(const PushTracker&) = delete;

  /// A device connects; `unasked` if its cards are stored without asking. Returns false if it must
  /// be refused because a batch is about to be stored that its cards must not join.
  bool admit(const std::string& peer, const std::string& name, bool unasked);
  void refused(const std::string& peer, const std::string& name, const std::string& reason);
  // Link events, as in `RadioLinkIfc`.
  void object(const std::string& name, std::size_t size);
  void answered(int command, int response);
  void closed(const std::string& reason);

  /// The service has notified its observers of a queued card, or of an object that is no card.
  void offered();
  void unreadable();

  /// The service stores the waiting cards between `accepting` and `accepted`. It looks up each in
  /// the phonebook (`looked`) and adds it if it is missing (`added`).
  void accepting();
  void looked(const std::string& outcome);
  void added(const std::string& outcome);
  void accepted();
  /// The service drops the waiting cards.
  void rejecting();
  void rejected();

  /// Whether to store cards without asking: some are waiting, all of them from devices for which
  /// that is allowed, and no other device is connected.
  [[nodiscard]] bool wantsAcceptance() const;
  /// The same. If true, no other device is admitted until the service has locked its queue.
  bool beginAcceptance();

  /// Marks the waiting cards as lost. Call when the service has been deleted.
  void end();

 private:
  struct Card {
    long long number;
    bool unasked;
  };
  struct Link {
    std::string peer;
    std::string name;
    bool unasked = false;
    bool used = false;                  ///< an object was pushed, or the peer sent DISCONNECT
    std::optional<long long> inFlight;  ///< the object not answered yet
    std::thread::id thread;
  };

  JournalEntry& open(const std::string& peer, const std::string& name);
  void write(long long number, std::string JournalEntry::*text, const std::string& value);
  void forgetSettled();
  void settle(std::size_t count, const std::vector<std::string>& outcomes);
  [[nodiscard]] bool allUnasked() const;

  const Write m_write;
  mutable std::mutex m_mutex;
  // Guarded by m_mutex:
  long long m_number = 0;
  std::map<long long, JournalEntry> m_open;  ///< entries that may still change
  std::optional<Link> m_link;
  JournalEntry m_lastRefusal;
  int m_refusals = 0;                   ///< in a row, all in `m_lastRefusal`
  std::vector<Card> m_queue;            ///< cards waiting for the user's answer
  bool m_unasked = false;               ///< `beginAcceptance` returned true
  std::size_t m_before = 0;             ///< cards waiting when the answer came
  std::optional<std::size_t> m_batch;   ///< cards waiting when the service locked its queue
  std::vector<std::string> m_outcomes;  ///< of the batch's cards, in order
};

}  // namespace host
