// virtual-radio: runs a command whose Bluetooth RFCOMM sockets reach other such commands on this
// machine, without an adapter.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "radio/Launcher.h"

namespace {

struct Arguments {
  std::string address;
  std::string folder;
  std::vector<std::string> command;
};

void describe(CLI::App& app, Arguments& arguments) {
  app.add_option("--address", arguments.address,
                 "the Bluetooth address of this telephone, such as 00:11:22:33:44:55")
      ->type_name("ADDRESS")
      ->required();
  app.add_option("--dir", arguments.folder,
                 "the folder that stands for the air: programs that share it can hear each other "
                 "(usual: $XDG_RUNTIME_DIR/virtual-radio, or /tmp/virtual-radio-UID)")
      ->type_name("FOLDER");
  app.footer(
      "The command and its arguments stand after --, for example\n"
      "  virtual-radio --address 00:11:22:33:44:55 -- obexput -b 00:11:22:33:44:66 -B 4 "
      "card.vcf\n\n"
      "The exit code is the command's own; 127 when it was not found, 126 when it could not be\n"
      "run, 125 when the radio could not be set up.");
}

// Takes the command off the end: it is nobody's business here what its arguments look like.
int takeCommand(int argc, char** argv, Arguments& arguments) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") != 0) continue;
    arguments.command.assign(argv + i + 1, argv + argc);
    return i;
  }
  return argc;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Runs a command with a virtual Bluetooth radio.", "virtual-radio"};
  Arguments arguments;
  describe(app, arguments);
  try {
    app.parse(takeCommand(argc, argv, arguments), argv);
    if (arguments.command.empty()) {
      throw CLI::RequiredError("a command after -- (virtual-radio --address ADDRESS -- COMMAND)");
    }
    radio::Launcher launcher;
    launcher.setAddress(arguments.address);
    launcher.setFolder(arguments.folder);
    launcher.preload();
    launcher.run(arguments.command);
  } catch (const CLI::ExtrasError& error) {
    std::fprintf(stderr, "%s\nThe command stands after --.\n", error.what());
    return radio::kWrapperFailed;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : radio::kWrapperFailed;
  } catch (const radio::LauncherError& error) {
    std::fprintf(stderr, "virtual-radio: %s\n", error.what());
    return error.code();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "virtual-radio: %s\n", error.what());
    return radio::kWrapperFailed;
  }
}
