#include "tools/phonectl/SendCommand.h"

#include <glib.h>

#include <algorithm>
#include <charconv>
#include <iostream>

#include "cards/SafeText.h"
#include "host/bluetooth/Address.h"
#include "tools/phonectl/BlockingBluez.h"
#include "tools/phonectl/ContactFile.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

constexpr int kMaxChannel = 30;
/// On a virtual radio, which knows no service discovery, it is that of this telephone's own server.
constexpr int kVirtualChannel = 4;
constexpr const char* kNobody = "00:00:00:00:00:00";

bool isAddress(const std::string& text) {
  return text != kNobody && host::parseAddress(text).has_value();
}

/// What has the parts of an address is meant as one.
bool looksLikeAddress(const std::string& text) {
  constexpr long kParts = 4;
  return std::count(text.begin(), text.end(), ':') >= kParts ||
         std::count(text.begin(), text.end(), '-') >= kParts;
}

std::string checkDevice(const std::string& text) {
  if (!text.empty() && (isAddress(text) || !looksLikeAddress(text))) return "";
  return "it is no Bluetooth address such as 66:77:88:99:AA:BB";
}

std::string checkChannel(const std::string& text) {
  int channel = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, channel);
  const bool valid = result.ec == std::errc() && result.ptr == end && channel >= 1;
  return valid && channel <= kMaxChannel ? "" : "an RFCOMM channel is a number from 1 to 30";
}

}  // namespace

SendCommand::SendCommand(CLI::App& parent)
    : Command(
          parent, "send", "Send a contact to another device",
          "Hands the contact to the phone, which pushes it to the device as a card, and waits for\n"
          "the end of the transfer. A contact that could not be sent stays pending in the phone:\n"
          "--pending sends it, to the same device or another, and `phonectl cancel` drops it. A\n"
          "contact that was pending before is dropped when another one is handed over.\n"
          "The channel is that of the device's Object Push service; the device is asked for it\n"
          "unless it is given. A name is one of those that `phonectl devices` lists; of several\n"
          "devices of that name the one that is paired is meant.") {
  auto* const which =
      app().add_option("contact", m_which, "An entry of the phonebook")->type_name("ID|NAME");
  auto* const file = addContactFile(app(), m_file)->excludes(which);
  auto* const pending = app().add_flag("--pending", m_pending, "What the phone has pending");
  pending->excludes(which)->excludes(file);
  app()
      .add_option("--to", m_device, "The device's Bluetooth address, or its name")
      ->required()
      ->type_name("ADDRESS|NAME")
      ->check(checkDevice);
  app()
      .add_option("--channel", m_destination.channel, "The device's RFCOMM channel, 1 to 30")
      ->type_name("N")
      ->check(checkChannel);
  app().callback([=] {
    if (which->count() + file->count() + pending->count() > 0) return;
    throw CLI::ValidationError("send", "say what: an entry of the phonebook, --json or --pending");
  });
}

int SendCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  std::optional<contacts::Contact> given;
  if (!m_pending) given.emplace(contact(bus, signals));
  findDestination(bus, signals);
  Sending sending(bus, signals);
  if (given) sending.handOver(*given);
  const std::string sent = sending.sendTo(m_destination);
  printLine("Sent to " + m_destination.shown() + ": " + shownContact(sent));
  return kDone;
}

contacts::Contact SendCommand::contact(PhoneBus& bus, const StopSignals& signals) const {
  if (!m_file.empty()) return readContactFile(m_file);
  return contacts::contactOf(Phonebook(bus, signals).named(m_which));
}

void SendCommand::findDestination(PhoneBus& bus, const StopSignals& signals) {
  // A phone that isn't there is told before anything of the device.
  static_cast<void>(bus.phoneOwner());
  m_destination.address = m_device;
  if (!isAddress(m_device)) {
    const BlockingBluez bluez(signals);
    if (!bluez.ready())
      throw Failure(kFailed, "devices can't be found by name: " + bluez.missing() +
                                 ". Name the device by its address");
    m_destination.address = bluez.addressOf(m_device);
  }
  if (m_destination.channel == 0) m_destination.channel = findChannel(signals);
}

int SendCommand::findChannel(const StopSignals& signals) const {
  const host::SdpQuery::Answer answer = askServices(signals, m_destination.address, "");
  switch (answer.outcome) {
    case host::SdpQuery::Outcome::kNoBluetooth:
      std::cerr << "phonectl: there is no Bluetooth here to ask the device for its channel; trying "
                << kVirtualChannel << std::endl;
      return kVirtualChannel;
    case host::SdpQuery::Outcome::kUnreachable:
      throw Failure(kFailed,
                    m_destination.address +
                        " could not be asked for its channel: " + cards::safeText(answer.problem) +
                        ". Is it switched on and in reach? --channel N sends without asking");
    case host::SdpQuery::Outcome::kAnswered:
      break;
  }
  for (const host::SdpRecord& record : answer.records)
    if (record.channel != 0) return record.channel;
  throw Failure(kFailed, m_destination.address +
                             " takes no cards: it has no Object Push service. Some phones have it "
                             "only while their user waits for a file");
}

}  // namespace phonectl
