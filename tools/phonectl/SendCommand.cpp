#include "tools/phonectl/SendCommand.h"

#include <glib.h>

#include <charconv>

#include "tools/phonectl/ContactFile.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

constexpr int kMaxChannel = 30;
constexpr const char* kNobody = "00:00:00:00:00:00";

bool isAddress(const std::string& text) {
  if (text.size() != 17 || text == kNobody) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i % 3 == 2 ? text[i] != ':' : !g_ascii_isxdigit(text[i])) return false;
  }
  return true;
}

std::string checkAddress(const std::string& text) {
  return isAddress(text) ? "" : "it is no Bluetooth address such as 66:77:88:99:AA:BB";
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
          "The channel is that of the device's Object Push service; `sdptool browse ADDRESS`\n"
          "tells it.") {
  auto* const which =
      app().add_option("contact", m_which, "An entry of the phonebook")->type_name("ID|NAME");
  auto* const file = addContactFile(app(), m_file)->excludes(which);
  auto* const pending = app().add_flag("--pending", m_pending, "What the phone has pending");
  pending->excludes(which)->excludes(file);
  app()
      .add_option("--to", m_destination.address, "The device's Bluetooth address")
      ->required()
      ->type_name("ADDRESS")
      ->check(checkAddress);
  app()
      .add_option("--channel", m_destination.channel, "The device's RFCOMM channel, 1 to 30")
      ->required()
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

}  // namespace phonectl
