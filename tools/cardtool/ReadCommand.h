#pragma once

#include <string>

#include "src/OBEXStorage.h"
#include "tools/cardtool/Command.h"

namespace cardtool {

/// `cardtool read`: reads a card as the phone would, and prints the phonebook write message.
class ReadCommand : public Command {
 public:
  explicit ReadCommand(CLI::App& parent);
  int run() override;

 private:
  static void printCard(const std::string& text, OBEXStorage& pictures);
  static void tellOddities(const std::string& message, int cutTexts);

  std::string m_file;
  std::string m_photos;
};

}  // namespace cardtool
