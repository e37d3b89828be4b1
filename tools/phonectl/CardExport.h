#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "cards/Card.h"
#include "tools/phonectl/Phonebook.h"
#include "tools/phonectl/ProgressBar.h"

namespace phonectl {

/// Writes entries of the phonebook as cards, one after the other, each as the phone sends it, and
/// reads each card again, as an import would: what would not come back is told on standard error.
///
/// Threads: as BlockingCall.
class CardExport {
 public:
  using OnCard = std::function<void(const std::string&)>;

  /// `onCard` takes the text of each card.
  CardExport(Phonebook& book, OnCard onCard) : m_book(book), m_onCard(std::move(onCard)) {}

  /// Throws Failure when the phone or the user has gone, and what `onCard` throws.
  void write(const std::vector<std::string>& ids);

  /// Whether everything that was asked for is in the cards.
  [[nodiscard]] bool complete() const { return m_lacking == 0; }
  /// "3 cards written"
  [[nodiscard]] std::string summary() const;

 private:
  void writeEntry(const cards::Card& entry, ProgressBar& bar);
  void tell(const std::string& id, const std::string& what, ProgressBar& bar);

  Phonebook& m_book;
  const OnCard m_onCard;
  std::size_t m_written = 0;
  std::size_t m_lacking = 0;  ///< how often something was told
};

}  // namespace phonectl
