#pragma once

#include <vector>

#include "cards/Card.h"
#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl book list`: the phonebook.
class BookListCommand : public Command {
 public:
  explicit BookListCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  static void printJson(const std::vector<cards::Card>& cards);

  bool m_json = false;
};

}  // namespace phonectl
