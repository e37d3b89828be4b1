#pragma once

#include <string>
#include <string_view>

#include "cards/ImagesFolder.h"
#include "cards/VCardSplitter.h"
#include "tools/phonectl/Phonebook.h"
#include "tools/phonectl/ProgressBar.h"

namespace phonectl {

/// Takes .vcf files into the phonebook, card by card, as the phone takes cards that come in. What
/// is not stored is told on standard error, a line for each card.
///
/// Threads: as BlockingCall.
class CardImport {
 public:
  explicit CardImport(Phonebook& book) : m_book(book) {}

  /// Throws Failure when the phone or the user has gone; a card or file that can't be taken ends
  /// nothing.
  void importFile(const std::string& file);

  /// Whether everything is in the phonebook now.
  [[nodiscard]] bool complete() const { return m_refused == 0 && m_unusedFiles == 0; }
  /// What has been done so far, for the user.
  [[nodiscard]] std::string summary() const;

 private:
  void importCards(const std::string& file, const std::string& text);
  void importCard(const cards::CutCard& cut, const std::string& place, ProgressBar& bar);
  void store(const std::string& message, const std::string& place, ProgressBar& bar);
  void refuse(const std::string& place, const std::string& why, ProgressBar& bar);

  Phonebook& m_book;
  contacts::ImagesFolder m_images;
  std::size_t m_stored = 0;
  std::size_t m_known = 0;  ///< were in the phonebook already
  std::size_t m_refused = 0;
  std::size_t m_unusedFiles = 0;
};

}  // namespace phonectl
