#include <giomm.h>

#include <iostream>

#include "tools/phonectl/Commands.h"

namespace phonectl {

namespace {

std::string checkBus(const std::string& text) {
  return dbus::BusAddress::valid(text)
             ? ""
             : "must be session, system or a D-Bus address such as unix:path=/run/bus";
}

void addCommands(CLI::App& app, Context& context) {
  addStatus(app, context);
  addDoctor(app, context);
  addReceive(app, context);
  addWatch(app, context);
  addAccept(app, context);
  addReject(app, context);
  addDevices(app, context);
  addSend(app, context);
  addCancel(app, context);
  addJournal(app, context);
  CLI::App& book = *app.add_subcommand("book", "Show and edit the phonebook");
  book.require_subcommand(0, 1);
  addBookList(book, context);
  addBookShow(book, context);
  addBookAdd(book, context);
  addBookEdit(book, context);
  addBookDelete(book, context);
  addBookImport(book, context);
  addBookExport(book, context);
}

/// Whether the command line names a command that does something.
bool namesCommand(const CLI::App& app) {
  const auto chosen = app.get_subcommands();
  if (chosen.empty()) return false;
  return chosen.front()->get_subcommands({}).empty() || !chosen.front()->get_subcommands().empty();
}

int run(int argc, char** argv) {
  // Validating --bus needs GIO, too.
  Gio::init();
  Context context;
  CLI::App app("Controls the telephone: receives and sends business cards over Bluetooth.",
               "phonectl");
  app.set_version_flag("--version", std::string("phonectl ") + PHONE_VERSION);
  // No required subcommand: CLI11 would report "missing" instead of a misspelt name.
  app.require_subcommand(0, 1);
  // Accepts --bus after the command as well.
  app.fallthrough();
  app.add_option("--bus", context.bus, "Bus of the phone: session, system or a D-Bus address")
      ->envname("PHONE_BUS")
      ->capture_default_str()
      ->type_name("BUS")
      ->check(checkBus);
  app.footer("Run `phonectl COMMAND --help` for the options and exit codes of a command.");
  addCommands(app, context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  }
  if (namesCommand(app)) return context.exitCode;
  std::cerr << "phonectl: no command given; run phonectl --help for a list" << std::endl;
  return kUsage;
}

}  // namespace

}  // namespace phonectl

int main(int argc, char** argv) {
  try {
    return phonectl::run(argc, argv);
  } catch (const phonectl::Failure& failure) {
    std::cerr << "phonectl: " << failure.what() << std::endl;
    return failure.exitCode();
  } catch (const std::exception& error) {
    std::cerr << "phonectl: " << error.what() << std::endl;
    return phonectl::kFailed;
  }
}
