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

#include "host/push/JournalEntry.h"

namespace host {

/// Keeps book of every push: what the link saw of it, whether its card waits for an answer, and
/// what the phonebook saw when there was one. From this the journal is written, and it is known
/// whether every card that waits came from a device whose cards are to be stored without a
/// question.
///
/// The service's own queue is not seen; but it tells its observers of a card at the very moment at
/// which it queues it, and it keeps the queue locked from the first to the last card of a batch. So
/// the book's queue is the same as its own, and the cards of a batch are told apart by their order.
/// Where the numbers don't agree, the entries say that what became of them is not known.
///
/// Threads: any. What happens on the link is told by the thread that serves it, the answers by the
/// framework thread.
class PushLedger {
 public:
  /// Takes each entry, again whenever it changes. Called from whichever thread tells something; it
  /// must not wait.
  using Write = std::function<void(const JournalEntry&)>;

  explicit PushLedger(Write write) : m_write(std::move(write)) {}
  PushLedger(const PushLedger&) = delete;
  PushLedger& operator=(const PushLedger&) = delete;

  /// A device is let in. False when it can't be just now, since `acceptance` is under way and its
  /// cards are not to be stored `unasked`.
  bool admit(const std::string& peer, const std::string& name, bool unasked);
  void refused(const std::string& peer, const std::string& name, const std::string& reason);
  // On its link, as in `RadioLinkIfc`.
  void object(const std::string& name, std::size_t size);
  void answered(int command, int response);
  void closed(const std::string& reason);

  /// The service tells its observers: of a card that it has queued; of something that is no card.
  void offered();
  void unreadable();

  /// The cards that wait are to be stored: from `accepting` to `accepted` the service asks the
  /// phonebook for each whether it is there (`looked`), and adds it when it isn't (`added`).
  void accepting();
  void looked(const std::string& outcome);
  void added(const std::string& outcome);
  void accepted();
  /// They are to be dropped.
  void rejecting();
  void rejected();

  /// Whether there are cards to be stored without a question: some wait, all of them came from
  /// devices whose cards are to be, and no other device is linked.
  [[nodiscard]] bool wantsAcceptance() const;
  /// The same; if so, no other device is let in before the service has begun with it.
  bool beginAcceptance();

  /// The telephone ends: what waits is lost.
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
    bool used = false;                  ///< there was an object, or the peer has said good-bye
    std::optional<long long> inFlight;  ///< an object that is not answered yet
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
  int m_refusals = 0;                   ///< in a row, of which `m_lastRefusal` tells
  std::vector<Card> m_queue;            ///< cards that wait for an answer
  bool m_unasked = false;               ///< `beginAcceptance` was answered with yes
  std::size_t m_before = 0;             ///< waited when the answer was given
  std::optional<std::size_t> m_batch;   ///< wait since the service has locked its queue
  std::vector<std::string> m_outcomes;  ///< of the batch, in order
};

}  // namespace host
