// The vCard builder, checked with the reader. An input is a contact: a line for each field, in the
// order of the record, then the bytes of the picture.
//
// Contract for any contact: the card is complete, and tracing doesn't change it. Contract for a
// contact that the reader can represent (`isReadable`): the reader finds every field, the preferred
// number unless it is empty, and the picture.

#include <array>
#include <filesystem>
#include <fstream>
#include <string>

#include "cards/Card.h"
#include "fuzz/support/Contract.h"
#include "fuzz/support/ScratchFolder.h"
#include "fuzz/support/Tracing.h"
#include "src/CARD_Creator.h"
#include "src/CARD_Parser.h"
#include "src/OBEXServiceIfc.h"
#include "tests/src/RecordingStorage.h"

namespace fuzz {
namespace {

using Contact = obex_phonebook_data_t;
using cards::Card;

constexpr std::size_t kMaxPicture = 102400;

struct Field {
  std::string Contact::*given;
  std::string Card::*read;
};

constexpr std::array<Field, 11> kFields = {{
    {&Contact::firstname, &Card::firstname},
    {&Contact::surname, &Card::surname},
    {&Contact::office, &Card::office},
    {&Contact::office2, &Card::office2},
    {&Contact::mobile, &Card::mobile},
    {&Contact::privatenumber, &Card::privateNumber},
    {&Contact::email, &Card::email},
    {&Contact::address, &Card::address},
    {&Contact::address2, &Card::address2},
    {&Contact::company, &Card::company},
    {&Contact::jobfunction, &Card::jobFunction},
}};

struct Number {
  const char* name;
  std::string Contact::*given;
  const char* digit;
};

constexpr std::array<Number, 4> kNumbers = {{
    {"Office", &Contact::office, "1"},
    {"Office2", &Contact::office2, "2"},
    {"Mobile", &Contact::mobile, "3"},
    {"Private", &Contact::privatenumber, "4"},
}};

std::string cutLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string line(text.substr(0, end));
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

bool isReadable(const std::string& value) {
  const bool leading =
      !value.empty() && std::string_view(" \t\v\f").find(value[0]) != std::string_view::npos;
  if (leading || value.find_first_of(std::string("\r\n\0", 3)) != std::string::npos) return false;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const auto byte = static_cast<std::uint8_t>(value[i]);
    if (byte < 0x80) continue;
    const bool two = byte >= 0xC2 && byte <= 0xDF && i + 1 < value.size() &&
                     (static_cast<std::uint8_t>(value[i + 1]) & 0xC0) == 0x80;
    if (!two) return false;
    ++i;
  }
  return true;
}

/// Whether the reader must find every field: UTF-8 of at most two bytes per character, no line
/// breaks, zero bytes or leading white space, no semicolons in names, no second number or address
/// without the first.
bool isReadable(const Contact& contact) {
  for (const Field& field : kFields) {
    if (!isReadable(contact.*field.given)) return false;
  }
  const std::string names = contact.firstname + contact.surname;
  const bool gap = (contact.office.empty() && !contact.office2.empty()) ||
                   (contact.address.empty() && !contact.address2.empty());
  return names.find(';') == std::string::npos && !gap;
}

const Number* preferredOf(const Contact& contact) {
  for (const Number& number : kNumbers) {
    if (contact.defaultnumber == number.name && !(contact.*number.given).empty()) return &number;
  }
  return nullptr;
}

/// Writes the picture where the builder reads it. The path doesn't depend on the input.
std::string keepPicture(std::string_view bytes) {
  static const ScratchFolder folder;
  // The builder uses a path that contains "/data/images/" as it is.
  static const std::filesystem::path images = folder.path() / "data/images";
  std::filesystem::create_directories(images);
  const std::filesystem::path file = images / "picture.jpg";
  std::ofstream(file, std::ios::binary) << bytes;
  return file.string();
}

void checkReadBack(const Contact& contact, const std::string& vCard, std::string_view picture) {
  test::RecordingStorage storage;
  CARD_Parser reader(&storage);
  const auto* bytes = reinterpret_cast<const unsigned char*>(vCard.data());
  require(reader.parse(bytes, static_cast<int>(vCard.size())) == 1, "a built card can be read");
  const Card card = cards::cardFromMessage(reader.getPhoneBookWriteMessage("utf-8"));
  for (const Field& field : kFields) {
    require(card.*field.read == contact.*field.given, "every field is read back");
  }
  if (const Number* const preferred = preferredOf(contact)) {
    require(card.defaultNumber == preferred->digit, "the preferred number is read back");
  }
  require(storage.photos.size() == (picture.empty() ? 0 : 1), "a picture is read back once");
  if (picture.empty()) return;
  require(storage.photos[0].bytes == picture.substr(0, kMaxPicture),
          "a picture is read back unchanged");
  require(storage.photos[0].path == "/data/images/" + card.picture, "the entry names its picture");
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fuzz;  // NOLINT: it is the target's own
  constexpr std::uint64_t kTracedShare = 16;
  const std::string_view input = textOf(data, size);
  std::string_view rest = input;
  Contact contact;
  for (const Field& field : kFields) contact.*field.given = cutLine(rest);
  contact.defaultnumber = cutLine(rest);
  if (!rest.empty()) contact.picture = keepPicture(rest);
  const std::string card = CARD_Creator().createVCard(contact);
  require(card.starts_with("BEGIN:VCARD\r\n") && card.ends_with("END:VCARD\r\n"),
          "a card is complete");
  if (isReadable(contact)) checkReadBack(contact, card, rest);
  if (isSampled(input, kTracedShare)) {
    const Tracing tracing;
    require(CARD_Creator().createVCard(contact) == card, "tracing doesn't change the card");
  }
  return 0;
}
