// virtual-radio: runs a command whose Bluetooth RFCOMM sockets reach other such commands on this
// machine, without an adapter.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "radio/launcher.h"

namespace {

struct Arguments {
  std::string address;
  std::string folder;
  std::vector<std::string> command;
};

void Describe(CLI::App& app, Arguments& arguments) {
  app.option_defaults()->required();
  app.add_option("--address", arguments.address,
                 "the Bluetooth address of this telephone, such as 00:11:22:33:44:55")
      ->type_name("ADDRESS");
  app.add_option("command", arguments.command, "the command and its arguments")
      ->type_name("COMMAND");
  app.add_option("--dir", arguments.folder,
                 "the folder that stands for the air: programs that share it can hear each other "
                 "(usual: $XDG_RUNTIME_DIR/virtual-radio, or /tmp/virtual-radio-UID)")
      ->required(false)
      ->type_name("FOLDER");
  app.footer(
      "For example: virtual-radio --address 00:11:22:33:44:55 -- obexput -b 00:11:22:33:44:66 "
      "-B 4 card.vcf\n\n"
      "The exit code is the command's own; 127 when it was not found, 126 when it could not be\n"
      "run, 125 when the radio could not be set up.");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Runs a command with a virtual Bluetooth radio."};
  Arguments arguments;
  Describe(app, arguments);
  try {
    app.parse(argc, argv);
    radio::Launcher launcher;
    launcher.SetAddress(arguments.address);
    launcher.SetFolder(arguments.folder);
    launcher.Preload();
    launcher.Run(arguments.command);
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
