#pragma once

#include <string>

#include "cards/Card.h"
#include "cards/Contact.h"
#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl book add`: adds one entry to the phonebook.
class BookAddCommand : public Command {
 public:
  explicit BookAddCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  [[nodiscard]] cards::Card card() const;

  std::string m_file;
  contacts::Contact m_contact;  ///< as the options have it
};

}  // namespace phonectl
