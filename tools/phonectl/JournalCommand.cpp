#include "tools/phonectl/JournalCommand.h"

#include <algorithm>
#include <iostream>
#include <set>

#include "cards/CardJson.h"
#include "cards/CardText.h"
#include "cards/SafeText.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

namespace {

constexpr int kUsual = 100;
constexpr int kMost = 10000;
constexpr long long kSecond = 1000;

std::string timeOf(const Parameters& entry, const char* format) {
  const long long time = entry.number("time").value_or(0) / kSecond;
  const Glib::DateTime date = Glib::DateTime::create_now_local(time);
  return date ? date.format(format).raw() : std::string("?");
}

std::string shown(const Parameters& entry, const char* name) {
  return cards::safeText(entry.text(name).value_or(""), cards::kMaxShown);
}

/// Where telephones share a phonebook they share its journal, too.
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
    throw Failure(kFailed, "the phone's answer is no journal");
  GVariant* const list = g_variant_get_child_value(const_cast<GVariant*>(answer.gobj()), 0);
  for (gsize i = 0; i < g_variant_n_children(list); ++i) {
    GVariant* entry = g_variant_get_child_value(list, i);
    // In the form of a message's body.
    GVariant* const body = g_variant_ref_sink(g_variant_new_tuple(&entry, 1));
    entries.emplace_back(Glib::VariantContainerBase(body, false));
    g_variant_unref(entry);
  }
  g_variant_unref(list);
  std::reverse(entries.begin(), entries.end());
  return entries;
}

}  // namespace

JournalCommand::JournalCommand(CLI::App& parent)
    : Command(
          parent, "journal", "Show what was pushed, by whom, and what became of it",
          "One line for each push, the newest last: when, who, the object's name and size, what\n"
          "the link saw of it, and what the phonebook saw. Of the latter:\n"
          "  waiting        the card waits for an answer\n"
          "  stored         it was accepted and is in the phonebook\n"
          "  there already  it was accepted, and the phonebook had it\n"
          "  not stored: …  it was accepted, and the phonebook refused it\n"
          "  rejected       the user didn't want it\n"
          "  no card: …     it can't be read as a card\n"
          "  lost: …        the phone ended while it waited\n"
          "  not known      an answer was given, and its outcome can't be told from others\n"
          "The last 10000 are kept, in the phonebook's database. Where several phones share that, "
          "the\n"
          "lines of all are shown, each with USER@HOST of its phone behind the time."),
      m_last(kUsual) {
  app()
      .add_option("--last", m_last, "How many lines")
      ->check(CLI::Range(1, kMost))
      ->capture_default_str()
      ->type_name("N");
  app().add_flag(
      "--json", m_json,
      "A JSON array of objects with time, phone, peer, peerName, object, size, link, phonebook");
}

int JournalCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  const std::vector<Parameters> entries = entriesIn(
      BlockingCall(bus, signals)
          .run({kPhone, "Journal",
                Glib::VariantContainerBase::create_tuple(Glib::Variant<int>::create(m_last))}));
  if (m_json) {
    printJson(entries);
  } else {
    print(entries);
  }
  return kDone;
}

void JournalCommand::print(const std::vector<Parameters>& entries) {
  if (entries.empty()) std::cerr << "phonectl: nothing was pushed so far" << std::endl;
  const bool withPhone = ofSeveralPhones(entries);
  for (const Parameters& entry : entries) printLine(lineOf(entry, withPhone));
}

void JournalCommand::printJson(const std::vector<Parameters>& entries) {
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

}  // namespace phonectl
