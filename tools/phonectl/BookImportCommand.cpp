#include "tools/phonectl/BookImportCommand.h"

#include <iostream>

#include "tools/phonectl/CardImport.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

BookImportCommand::BookImportCommand(CLI::App& parent)
    : Command(
          parent, "import", "Take cards from files into the phonebook",
          "Files may hold many cards. Each is read as the phone reads a card that comes in: "
          "photos\n"
          "are put into /data/images, and what the phonebook has already, with the same names and\n"
          "numbers, is not stored again. Every card that is not stored is told with its place,\n"
          "and the others are stored all the same; the exit code is 1 when there was one that\n"
          "could not be. A file is at most 256 MiB large, a card 4 MiB.") {
  app()
      .add_option("files", m_files, "The .vcf files, or - for standard input")
      ->required()
      ->type_name("FILE|-");
}

int BookImportCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  Phonebook book(bus, signals);
  CardImport import(book);
  try {
    for (const std::string& file : m_files) import.importFile(file);
  } catch (const Failure&) {
    std::cerr << "phonectl: the import was not finished: " << import.summary()
              << " It can be done again: cards that are stored stay single." << std::endl;
    throw;
  }
  printLine(import.summary());
  return import.complete() ? kDone : kFailed;
}

}  // namespace phonectl
