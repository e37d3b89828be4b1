#include "host/push/PushTracker.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "host/loader/HostLog.h"

namespace host {
namespace {

// OBEX codes without the final bit.
constexpr int kDisconnect = 0x01;
constexpr int kPut = 0x02;
constexpr int kSuccess = 0x20;
constexpr int kUnsupportedMediaType = 0x4F;

constexpr const char* kUnderWay = "under way";
constexpr const char* kTaken = "taken";
constexpr const char* kNotKnown = "not known";

std::int64_t now() {
  const auto time = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

std::string wordsOf(int response) {
  if (response == kSuccess) return kTaken;
  if (response == kUnsupportedMediaType) return "refused: its name is not that of a card";
  char code[8];
  std::snprintf(code, sizeof code, "0x%02X", static_cast<unsigned>(response) & 0xFFU);
  return std::string("refused: OBEX answer ") + code;
}

void logOutcome(const JournalEntry& entry, const std::string& outcome) {
  const char* const format = "card \"%s\" from %s: %s";
  if (outcome.starts_with(kNotStored))
    HOST_LOG_ERROR(format, entry.object.c_str(), entry.peer.c_str(), outcome.c_str());
  else
    HOST_LOG_INFO(format, entry.object.c_str(), entry.peer.c_str(), outcome.c_str());
}

}  // namespace

JournalEntry& PushTracker::open(const std::string& peer, const std::string& name) {
  m_refusals = 0;
  JournalEntry& entry = m_open[++m_number];
  entry.number = m_number;
  entry.time = now();
  entry.peer = peer;
  entry.peerName = name;
  return entry;
}

void PushTracker::write(long long number, std::string JournalEntry::*text,
                        const std::string& value) {
  const auto found = m_open.find(number);
  if (found == m_open.end()) return;
  found->second.*text = value;
  m_write(found->second);
}

/// Forgets entries that can't change any more: neither in flight nor waiting.
void PushTracker::forgetSettled() {
  std::erase_if(m_open, [this](const auto& entry) {
    const bool inFlight = m_link && m_link->inFlight == entry.first;
    return !inFlight && std::none_of(m_queue.begin(), m_queue.end(),
                                     [&](const Card& card) { return card.number == entry.first; });
  });
}

bool PushTracker::admit(const std::string& peer, const std::string& name, bool unasked) {
  const std::lock_guard lock(m_mutex);
  if (m_unasked && !m_batch && !unasked) return false;
  Link link;
  link.peer = peer;
  link.name = name;
  link.unasked = unasked;
  link.thread = std::this_thread::get_id();
  m_link = std::move(link);
  return true;
}

// Repeated refusals of one device share an entry, so that they can't flood the journal.
void PushTracker::refused(const std::string& peer, const std::string& name,
                          const std::string& reason) {
  const std::lock_guard lock(m_mutex);
  const std::string words = "not let in: " + reason;
  if (m_refusals == 0 || m_lastRefusal.peer != peer || !m_lastRefusal.link.starts_with(words)) {
    m_lastRefusal = open(peer, name);
    m_refusals = 0;
    forgetSettled();
  }
  ++m_refusals;
  m_lastRefusal.link =
      words + (m_refusals > 1 ? " (" + std::to_string(m_refusals) + " times)" : std::string());
  m_write(m_lastRefusal);
}

void PushTracker::object(const std::string& name, std::size_t size) {
  const std::lock_guard lock(m_mutex);
  if (!m_link) return;
  JournalEntry& entry = open(m_link->peer, m_link->name);
  entry.object = name;
  entry.size = static_cast<long long>(size);
  entry.link = kUnderWay;
  m_link->inFlight = entry.number;
  m_link->used = true;
  m_link->thread = std::this_thread::get_id();
  m_write(entry);
}

void PushTracker::offered() {
  const std::lock_guard lock(m_mutex);
  if (!m_link || !m_link->inFlight) return;
  m_queue.push_back({*m_link->inFlight, m_link->unasked});
  write(*m_link->inFlight, &JournalEntry::book, kBookWaiting);
}

// The service sends the same notification for a batch that failed, but from another thread.
void PushTracker::unreadable() {
  const std::lock_guard lock(m_mutex);
  if (!m_link || !m_link->inFlight || m_link->thread != std::this_thread::get_id()) return;
  write(*m_link->inFlight, &JournalEntry::book, "no card: it can't be read");
}

void PushTracker::answered(int command, int response) {
  const std::lock_guard lock(m_mutex);
  if (!m_link) return;
  if (command == kDisconnect) m_link->used = true;
  if (command != kPut || !m_link->inFlight) return;
  const long long number = *m_link->inFlight;
  m_link->used = true;
  write(number, &JournalEntry::link, wordsOf(response));
  if (response == kSuccess && m_open[number].book.empty())
    write(number, &JournalEntry::book, "no card: there is nothing in it");
  m_link->inFlight.reset();
  forgetSettled();
}

void PushTracker::closed(const std::string& reason) {
  const std::lock_guard lock(m_mutex);
  if (!m_link) return;
  if (!m_link->inFlight && !m_link->used)
    m_link->inFlight = open(m_link->peer, m_link->name).number;
  if (m_link->inFlight) write(*m_link->inFlight, &JournalEntry::link, "broken off: " + reason);
  m_link.reset();
  forgetSettled();
}

void PushTracker::accepting() {
  const std::lock_guard lock(m_mutex);
  m_before = m_queue.size();
  m_batch.reset();
  m_outcomes.clear();
}

// At the first card, the service has locked its queue: the batch is complete.
void PushTracker::looked(const std::string& outcome) {
  const std::lock_guard lock(m_mutex);
  if (!m_batch) m_batch = m_queue.size();
  m_outcomes.push_back(outcome);
}

void PushTracker::added(const std::string& outcome) {
  const std::lock_guard lock(m_mutex);
  if (!m_outcomes.empty()) m_outcomes.back() = outcome;
}

void PushTracker::accepted() {
  const std::lock_guard lock(m_mutex);
  settle(m_batch.value_or(m_before), m_outcomes);
  m_unasked = false;
  m_batch.reset();
  m_outcomes.clear();
}

void PushTracker::settle(std::size_t count, const std::vector<std::string>& outcomes) {
  count = std::min(count, m_queue.size());
  const bool clear = outcomes.size() == count;
  for (std::size_t i = 0; i < count; ++i) {
    const bool known = clear && !outcomes[i].empty();
    const std::string outcome = known ? outcomes[i] : kNotKnown;
    logOutcome(m_open[m_queue[i].number], outcome);
    write(m_queue[i].number, &JournalEntry::book, outcome);
  }
  m_queue.erase(m_queue.begin(), m_queue.begin() + static_cast<std::ptrdiff_t>(count));
  forgetSettled();
}

void PushTracker::rejecting() {
  const std::lock_guard lock(m_mutex);
  m_before = m_queue.size();
}

void PushTracker::rejected() {
  const std::lock_guard lock(m_mutex);
  settle(m_before, std::vector<std::string>(std::min(m_before, m_queue.size()), "rejected"));
}

bool PushTracker::allUnasked() const {
  if (m_queue.empty() || (m_link && !m_link->unasked)) return false;
  return std::all_of(m_queue.begin(), m_queue.end(), [](const Card& card) { return card.unasked; });
}

bool PushTracker::wantsAcceptance() const {
  const std::lock_guard lock(m_mutex);
  return allUnasked();
}

bool PushTracker::beginAcceptance() {
  const std::lock_guard lock(m_mutex);
  m_batch.reset();
  m_unasked = allUnasked();
  return m_unasked;
}

void PushTracker::end() {
  const std::lock_guard lock(m_mutex);
  settle(m_queue.size(), std::vector<std::string>(m_queue.size(), kBookLost));
}

}  // namespace host
