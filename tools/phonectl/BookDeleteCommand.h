#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cards/Card.h"
#include "tools/phonectl/Command.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

/// `phonectl book delete ID...`: takes entries out of the phonebook.
class BookDeleteCommand : public Command {
 public:
  explicit BookDeleteCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  /// The entries that are there; those that aren't are told.
  std::vector<cards::Card> find(PhoneBus& bus);
  [[nodiscard]] bool confirmed(const std::vector<cards::Card>& entries) const;
  void remove(Phonebook& book, const cards::Card& entry);

  std::vector<std::string> m_ids;
  bool m_yes = false;
  bool m_json = false;
  std::vector<std::string> m_deleted;
  std::vector<std::string> m_left;  ///< the Ids of what was not deleted
};

}  // namespace phonectl
