#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "cards/Card.h"
#include "cards/SafeText.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Parameters.h"

namespace phonectl {

namespace {

constexpr int kDefaultLines = 100;
constexpr int kMaxLines = 10000;

std::string timeOf(const Parameters& entry, const char* format) {
  constexpr long long kMillisecondsPerSecond = 1000;
  const long long time = entry.number("time").value_or(0) / kMillisecondsPerSecond;
  const Glib::DateTime date = Glib::DateTime::create_now_local(time);
  return date ? date.format(format).raw() : std::string("?");
}

std::string shown(const Parameters& entry, const char* name) {
  return cards::safeText(entry.text(name).value_or(""), cards::kMaxShown);
}

/// Phones that share a phonebook share its journal.
bool ofSeveralPhones(const std::vector<Parameters>& entries) {
  std::set<std::string> phones;
  for (const Parameters& entry : entries) phones.insert(shown(entry, "phone"));
  phones.erase("");
  return phones.size() > 1;
}

std::string lineOf(const Parameters& entry, bool withPhone) {
  const std::string phone = shown(entry, "phone");
  const std::string peer = shown(entry, "peer");
  const std::string name = shown(entry, "peerName");
  const std::string object = shown(entry, "object");
  const std::string book = shown(entry, "phonebook");
  std::string line = timeOf(entry, "%Y-%m-%d %H:%M:%S") + "  ";
  if (withPhone) line += (phone.empty() ? "?" : phone) + "  ";
  line += peer.empty() ? "?" : peer;
  if (!name.empty()) line += " (" + name + ")";
  if (!object.empty() || entry.number("size").value_or(0) != 0)
    line += "  " + (object.empty() ? "(no name)" : object) + ", " +
            std::to_string(entry.number("size").value_or(0)) + " bytes";
  return line + "  " + shown(entry, "link") + (book.empty() ? "" : "; " + book);
}

std::vector<Parameters> entriesIn(const Glib::VariantContainerBase& answer) {
  std::vector<Parameters> entries;
  if (!answer.is_of_type(Glib::VariantType("(aa{sv})")))
    throw Failure(kFailed, "the phone sent an invalid journal");
  GVariant* const list = g_variant_get_child_value(const_cast<GVariant*>(answer.gobj()), 0);
  for (gsize i = 0; i < g_variant_n_children(list); ++i) {
    GVariant* entry = g_variant_get_child_value(list, i);
    // Parameters reads the body of a message, a tuple.
    GVariant* const body = g_variant_ref_sink(g_variant_new_tuple(&entry, 1));
    entries.emplace_back(Glib::VariantContainerBase(body, false));
    g_variant_unref(entry);
  }
  g_variant_unref(list);
  std::reverse(entries.begin(), entries.end());
  return entries;
}

void printText(const std::vector<Parameters>& entries) {
  if (entries.empty()) std::cerr << "phonectl: nothing has been pushed yet" << std::endl;
  const bool withPhone = ofSeveralPhones(entries);
  for (const Parameters& entry : entries) printLine(lineOf(entry, withPhone));
}

void printJson(const std::vector<Parameters>& entries) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Parameters& entry : entries) {
    const auto text = [&](const char* name) { return entry.text(name).value_or(""); };
    all.push_back({{"time", timeOf(entry, "%Y-%m-%dT%H:%M:%S%:z")},
                   {"phone", text("phone")},
                   {"peer", text("peer")},
                   {"peerName", text("peerName")},
                   {"object", text("object")},
                   {"size", entry.number("size").value_or(0)},
                   {"link", text("link")},
                   {"phonebook", text("phonebook")}});
  }
  printLine(cards::jsonLine(all));
}

void showJournal(const Context& context, int lines) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  const auto body = Glib::VariantContainerBase::create_tuple(Glib::Variant<int>::create(lines));
  const std::vector<Parameters> entries =
      entriesIn(BlockingCall(bus, signals).run({kPhone, "Journal", body}));
  if (context.json) {
    printJson(entries);
  } else {
    printText(entries);
  }
}

}  // namespace

void addJournal(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "journal", "Show what was pushed, by whom, and what became of it",
      "One line per push, the newest last: time, sender, name and size of the object, the outcome\n"
      "of the transfer and that of the card:\n"
      "  waiting        waits for an answer\n"
      "  stored         accepted and stored\n"
      "  there already  accepted; the entry exists already\n"
      "  not stored: …  accepted, but the phonebook refused it\n"
      "  rejected       the user rejected it\n"
      "  no card: …     not a readable card\n"
      "  lost: …        the phone ended while the card was waiting\n"
      "  not known      answered, but the outcome can't be told from that of other cards\n"
      "The phonebook's database keeps the last 10000 pushes. If several phones share it, all of\n"
      "theirs are shown, with USER@HOST of the phone after the time.");
  const auto lines = std::make_shared<int>(kDefaultLines);
  command.add_option("--last", *lines, "Number of lines")
      ->check(CLI::Range(1, kMaxLines))
      ->capture_default_str()
      ->type_name("N");
  command.add_flag("--json", context.json,
                   "A JSON array of objects with time, phone, peer, peerName, object, size, link "
                   "and phonebook");
  command.callback([&context, lines] { showJournal(context, *lines); });
}

}  // namespace phonectl
