#include "tools/phonectl/PhoneCtl.h"

#include <giomm.h>

#include <iostream>

#include "tools/phonectl/AcceptCommand.h"
#include "tools/phonectl/BookAddCommand.h"
#include "tools/phonectl/BookDeleteCommand.h"
#include "tools/phonectl/BookEditCommand.h"
#include "tools/phonectl/BookExportCommand.h"
#include "tools/phonectl/BookImportCommand.h"
#include "tools/phonectl/BookListCommand.h"
#include "tools/phonectl/BookShowCommand.h"
#include "tools/phonectl/CancelCommand.h"
#include "tools/phonectl/DevicesCommand.h"
#include "tools/phonectl/DoctorCommand.h"
#include "tools/phonectl/JournalCommand.h"
#include "tools/phonectl/ReceiveCommand.h"
#include "tools/phonectl/RejectCommand.h"
#include "tools/phonectl/SendCommand.h"
#include "tools/phonectl/StatusCommand.h"
#include "tools/phonectl/WatchCommand.h"

namespace phonectl {

namespace {

std::string checkBus(const std::string& text) {
  return dbus::BusAddress::valid(text)
             ? ""
             : "it is neither session nor system nor a D-Bus address such as unix:path=/run/bus";
}

}  // namespace

PhoneCtl::PhoneCtl()
    : m_app("Controls the telephone: receives and sends business cards over Bluetooth.",
            "phonectl") {
  // Also the check of an option's value needs it.
  Gio::init();
  m_app.set_version_flag("--version", std::string("phonectl ") + PHONE_VERSION);
  // None is told in runChosen: asked for here, it would be told in place of a misspelt one.
  m_app.require_subcommand(0, 1);
  // Options of the program may stand behind the command too.
  m_app.fallthrough();
  m_app.add_option("--bus", m_bus, "The bus that the phone is on: session, system or an address")
      ->envname("PHONE_BUS")
      ->capture_default_str()
      ->type_name("BUS")
      ->check(checkBus);
  m_app.footer(
      "`phonectl COMMAND --help` tells more about a command, its exit codes included: 0 done,\n"
      "1 it didn't work, 2 wrong command line, 3 the phone isn't running, 4 the phone or the bus\n"
      "went away meanwhile, 130 or 143 left by Ctrl-C or SIGTERM.");

  add<StatusCommand>(m_app);
  add<DoctorCommand>(m_app);
  add<ReceiveCommand>(m_app);
  add<WatchCommand>(m_app);
  add<AcceptCommand>(m_app);
  add<RejectCommand>(m_app);
  add<DevicesCommand>(m_app);
  add<SendCommand>(m_app);
  add<CancelCommand>(m_app);
  add<JournalCommand>(m_app);
  CLI::App* const book = m_app.add_subcommand("book", "Look into the phonebook and change it");
  book->require_subcommand(0, 1);
  add<BookListCommand>(*book);
  add<BookShowCommand>(*book);
  add<BookAddCommand>(*book);
  add<BookEditCommand>(*book);
  add<BookDeleteCommand>(*book);
  add<BookImportCommand>(*book);
  add<BookExportCommand>(*book);
}

template <typename CommandType>
void PhoneCtl::add(CLI::App& parent) {
  m_commands.push_back(std::make_unique<CommandType>(parent));
}

int PhoneCtl::run(int argc, char** argv) {
  try {
    m_app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return m_app.exit(error) == 0 ? kDone : kUsage;
  }
  try {
    return runChosen();
  } catch (const Failure& failure) {
    std::cerr << "phonectl: " << failure.what() << std::endl;
    return failure.exitCode();
  }
}

int PhoneCtl::runChosen() {
  for (const auto& command : m_commands) {
    if (command->chosen()) return command->start(dbus::BusAddress(m_bus));
  }
  std::cerr << "phonectl: say what to do; the commands stand in: phonectl --help" << std::endl;
  return kUsage;
}

}  // namespace phonectl
