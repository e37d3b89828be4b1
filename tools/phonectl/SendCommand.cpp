#include <algorithm>
#include <iostream>
#include <memory>

#include "cards/SafeText.h"
#include "host/bluetooth/Address.h"
#include "tools/phonectl/BlockingBluez.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Phonebook.h"
#include "tools/phonectl/Sending.h"

namespace phonectl {

namespace {

constexpr int kMaxChannel = 30;
// The virtual radio has no service discovery; this is the channel of phone-host's own server.
constexpr int kVirtualChannel = 4;
constexpr const char* kAnyAddress = "00:00:00:00:00:00";

struct Options {
  std::string which;
  std::string file;
  bool pending = false;
  std::string device;  ///< address or name
  int channel = 0;     ///< 0: ask the device
};

bool isAddress(const std::string& text) {
  return text != kAnyAddress && host::parseAddress(text).has_value();
}

/// Tells a mistyped address from a name.
bool looksLikeAddress(const std::string& text) {
  constexpr long kSeparators = 4;
  return std::count(text.begin(), text.end(), ':') >= kSeparators ||
         std::count(text.begin(), text.end(), '-') >= kSeparators;
}

std::string checkDevice(const std::string& text) {
  if (!text.empty() && (isAddress(text) || !looksLikeAddress(text))) return "";
  return "not a Bluetooth address such as 66:77:88:99:AA:BB";
}

cards::Contact contactFrom(const Options& options, PhoneBus& bus, const StopSignals& signals) {
  if (!options.file.empty()) return readContactFile(options.file);
  return cards::contactOf(Phonebook(bus, signals).named(options.which));
}

std::string addressOf(const std::string& device, const StopSignals& signals) {
  if (isAddress(device)) return device;
  const BlockingBluez bluez(signals);
  if (bluez.ready()) return bluez.addressOf(device);
  throw Failure(kFailed, "can't look up devices by name: " + bluez.missing(),
                "give the device's address");
}

int channelOf(const std::string& address, const StopSignals& signals) {
  const host::SdpQuery::Answer answer = askServices(signals, address, "");
  if (answer.outcome == host::SdpQuery::Outcome::kNoBluetooth) {
    std::cerr << "phonectl: no Bluetooth here to ask the device for its channel; trying "
              << kVirtualChannel << std::endl;
    return kVirtualChannel;
  }
  if (answer.outcome == host::SdpQuery::Outcome::kUnreachable) {
    throw Failure(kFailed,
                  "can't ask " + address + " for its channel: " + cards::safeText(answer.problem),
                  "check that the device is switched on and in range; --channel N sends without "
                  "asking");
  }
  for (const host::SdpRecord& record : answer.records) {
    if (record.channel != 0) return record.channel;
  }
  throw Failure(kFailed, address + " offers no Object Push service",
                "some phones offer it only while the user waits for a file");
}

void send(const Context& context, const Options& options) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  std::optional<cards::Contact> contact;
  if (!options.pending) contact = contactFrom(options, bus, signals);
  // Reports a missing phone before the device is looked up.
  static_cast<void>(bus.phoneOwner());
  Destination destination{addressOf(options.device, signals), options.channel};
  if (destination.channel == 0) destination.channel = channelOf(destination.address, signals);
  Sending sending(bus, signals);
  if (contact) sending.handOver(*contact);
  const std::string sent = sending.sendTo(destination);
  printLine("Sent to " + destination.shown() + ": " + shownContact(sent));
}

void cancel(const Context& context) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  BlockingCall(bus, signals).run({kService, "vCardCancelEvent", Parameters().body()});
  printLine("No contact is pending any more.");
}

}  // namespace

void addSend(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "send", "Send a contact to another device",
      "The phone pushes the contact as a card; the command waits for the end of the transfer. A\n"
      "contact that could not be sent stays pending: --pending sends it, to the same device or\n"
      "another, and `phonectl cancel` drops it. A new contact replaces a pending one.\n"
      "Without --channel the device is asked for the channel of its Object Push service. A device\n"
      "name is one that `phonectl devices` lists; a paired device takes precedence over others of\n"
      "the same name.");
  const auto options = std::make_shared<Options>();
  CLI::Option* const which =
      command.add_option("contact", options->which, "Id or name of a phonebook entry")
          ->type_name("ID|NAME");
  CLI::Option* const file = addContactFile(command, options->file).excludes(which);
  CLI::Option* const pending =
      command.add_flag("--pending", options->pending, "Send the phone's pending contact");
  pending->excludes(which)->excludes(file);
  command.add_option("--to", options->device, "Bluetooth address or name of the device")
      ->required()
      ->type_name("ADDRESS|NAME")
      ->check(checkDevice);
  command.add_option("--channel", options->channel, "RFCOMM channel of the device, 1 to 30")
      ->type_name("N")
      ->check(CLI::Range(1, kMaxChannel));
  command.callback([&context, options, which, file, pending] {
    if (which->count() + file->count() + pending->count() == 0)
      throw CLI::ValidationError("send", "name an entry of the phonebook, --json or --pending");
    send(context, *options);
  });
}

void addCancel(CLI::App& parent, Context& context) {
  CLI::App& command =
      addCommand(parent, "cancel", "Drop the pending contact",
                 "The phone doesn't report whether there was one. A running transfer is not\n"
                 "interrupted; the command waits for its end.");
  command.callback([&context] { cancel(context); });
}

}  // namespace phonectl
