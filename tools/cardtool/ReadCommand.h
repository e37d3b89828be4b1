#pragma once

#include <string>

#include "src/OBEXStorage.h"
#include "tools/cardtool/Command.h"
#include "tools/cardtool/ReadingTrace.h"

namespace cardtool {

/// `cardtool read`: reads a card as the phone would, and prints the phonebook write message.
class ReadCommand : public Command {
 public:
  explicit ReadCommand(CLI::App& parent);
  int run() override;

 private:
  static void readCard(const std::string& text, OBEXStorage& pictures);
  [[noreturn]] static void refuse(const std::string& text, const ReadingTrace& trace);
  static void tellOddities(const std::string& message, int cutTexts);

  std::string m_file;
  std::string m_photos;
};

}  // namespace cardtool
