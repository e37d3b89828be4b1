#pragma once

#include <string>
#include <vector>

#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl book import`: takes .vcf files into the phonebook.
class BookImportCommand : public Command {
 public:
  explicit BookImportCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  std::vector<std::string> m_files;
};

}  // namespace phonectl
