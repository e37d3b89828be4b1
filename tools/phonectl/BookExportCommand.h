#pragma once

#include <string>
#include <vector>

#include "tools/phonectl/Command.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

/// `phonectl book export [ID...]`: the phonebook as a .vcf file.
class BookExportCommand : public Command {
 public:
  explicit BookExportCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  std::vector<std::string> ids(Phonebook& book) const;

  std::vector<std::string> m_ids;  ///< none: all
  std::string m_out = "-";
};

}  // namespace phonectl
