#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cards/Contact.h"
#include "dbus/BusAddress.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

/// What the commands share. Must outlive the parsing of the command line.
struct Context {
  std::string bus = "session";  ///< --bus
  bool json = false;            ///< --json, where the command has that flag
  int exitCode = kDone;         ///< of the command that ran

  [[nodiscard]] dbus::BusAddress place() const { return dbus::BusAddress(bus); }
};

// One function a command: adds it to `parent` with its options and help. Parsing the command line
// then runs the command, which sets `context.exitCode` or throws Failure.

void addAccept(CLI::App& parent, Context& context);
void addBookAdd(CLI::App& parent, Context& context);
void addBookDelete(CLI::App& parent, Context& context);
void addBookEdit(CLI::App& parent, Context& context);
void addBookExport(CLI::App& parent, Context& context);
void addBookImport(CLI::App& parent, Context& context);
void addBookList(CLI::App& parent, Context& context);
void addBookShow(CLI::App& parent, Context& context);
void addCancel(CLI::App& parent, Context& context);
void addDevices(CLI::App& parent, Context& context);
void addDoctor(CLI::App& parent, Context& context);
void addJournal(CLI::App& parent, Context& context);
void addReceive(CLI::App& parent, Context& context);
void addReject(CLI::App& parent, Context& context);
void addSend(CLI::App& parent, Context& context);
void addStatus(CLI::App& parent, Context& context);
void addWatch(CLI::App& parent, Context& context);

// Parts of a command line that several commands have.

/// Adds a command whose help ends with `footer` and the exit codes.
CLI::App& addCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::string& footer);

/// Validates the id of a phonebook entry.
CLI::Validator entryId();

/// Adds `--json FILE|-`, a contact as JSON.
CLI::Option& addContactFile(CLI::App& command, std::string& file);
/// Reads that contact. Throws Failure.
cards::Contact readContactFile(const std::string& file);

/// Adds one option for each field of a contact, such as `--mobile`.
void addContactOptions(CLI::App& command, cards::Contact& contact);

}  // namespace phonectl
