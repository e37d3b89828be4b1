#pragma once

#include <string>

#include "tools/cardtool/Command.h"

namespace cardtool {

/// `cardtool write`: prints the card that the phone would send for a contact.
class WriteCommand : public Command {
 public:
  explicit WriteCommand(CLI::App& parent);
  int run() override;

 private:
  std::string m_file;
};

}  // namespace cardtool
