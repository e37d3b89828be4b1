#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cards/Contact.h"
#include "host/directory/DirectoryClient.h"
#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl book edit ID --mobile NUMBER`: changes texts of one entry.
class BookEditCommand : public Command {
 public:
  explicit BookEditCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  /// The texts that the command line names, as the phonebook has them.
  [[nodiscard]] std::vector<host::ColumnValue> texts() const;

  std::string m_id;
  contacts::Contact m_contact;  ///< as the options have it
  std::vector<std::pair<const CLI::Option*, const contacts::ContactField*>> m_options;
};

}  // namespace phonectl
