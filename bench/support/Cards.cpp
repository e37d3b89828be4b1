#include "bench/support/Cards.h"

#include <array>
#include <random>
#include <string_view>

#include "src/CARD_Creator.h"

namespace bench {

namespace {

constexpr const char* kLineEnd = "\r\n";
constexpr std::size_t kPhotoLine = 76;
constexpr std::size_t kTextLine = 75;

constexpr std::array<const char*, 8> kSurnames{"Berg",    "Lindqvist", "Okafor", "Tanaka",
                                               "Alvarez", "Novak",     "Dubois", "Haugen"};
constexpr std::array<const char*, 8> kFirstnames{"Anna",  "Mikkel", "Chidi",  "Yuki",
                                                 "Lucia", "Petra",  "Julien", "Ingrid"};
constexpr std::array<const char*, 4> kCompanies{"Harbour & Sons Ltd", "Fjord Instruments",
                                                "Nordic Timber Trading", "Bay Street Books"};
constexpr std::array<const char*, 4> kJobs{"Sales manager", "Head of maintenance", "Engineer",
                                           "Bookkeeper"};
constexpr std::array<const char*, 4> kStreets{"Quay Road", "Mill Lane", "Station Street",
                                              "Old Market"};
constexpr std::array<const char*, 16> kWords{
    "please",  "call", "after", "the",   "delivery", "on",     "Thursday", "morning",
    "because", "gate", "three", "stays", "closed",   "during", "repairs",  "again"};

/// Random choices without the library's distributions, whose results differ between platforms.
class Dice {
 public:
  explicit Dice(unsigned number) : m_random(number * 7919U + 17U) {}

  unsigned below(unsigned bound) { return static_cast<unsigned>(m_random() % bound); }
  unsigned char byte() { return static_cast<unsigned char>(m_random() >> 24); }
  template <std::size_t size>
  std::string pick(const std::array<const char*, size>& choices) {
    return choices[below(size)];
  }
  std::string phone() { return "+47" + std::to_string(10000000 + below(90000000)); }

 private:
  std::mt19937 m_random;
};

std::string line(const std::string& text) { return text + kLineEnd; }

/// Folds a line at `width` characters.
std::string folded(std::string_view text, std::size_t width) {
  std::string lines(text.substr(0, width));
  for (std::size_t at = width; at < text.size(); at += width - 1) {
    lines.append(kLineEnd).append(1, ' ').append(text.substr(at, width - 1));
  }
  return lines + kLineEnd;
}

std::string words(Dice& dice, std::size_t size) {
  std::string text;
  while (text.size() < size) text += dice.pick(kWords) + " ";
  text.resize(size);
  return text;
}

std::string nameLines(Dice& dice, unsigned number, bool accented) {
  const std::string surname = dice.pick(kSurnames) + std::to_string(number);
  const std::string firstname = dice.pick(kFirstnames);
  if (!accented)
    return line("N:" + surname + ";" + firstname) + line("FN:" + firstname + " " + surname);
  return line("N;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:M=C3=BCller-" + surname + ";" +
              firstname) +
         line("FN;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:" + firstname + " M=C3=BCller-" +
              surname);
}

std::string openCard(unsigned number) {
  Dice dice(number);
  const bool accented = number % 4 == 3;
  std::string card = line("BEGIN:VCARD") + line("VERSION:2.1") + nameLines(dice, number, accented);
  card += line("TEL;CELL;VOICE;PREF:" + dice.phone());
  card += line("TEL;WORK;VOICE:" + dice.phone());
  card += line("TEL;HOME:" + dice.phone());
  card += line("EMAIL;INTERNET:person" + std::to_string(number) + "@example.org");
  card += line("ADR;WORK:;;" + dice.pick(kStreets) + " " + std::to_string(1 + dice.below(200)) +
               ";Bergen;;50" + std::to_string(10 + dice.below(90)) + ";Norway");
  card += line("ORG:" + dice.pick(kCompanies));
  card += line("TITLE:" + dice.pick(kJobs));
  return card;
}

}  // namespace

std::string smallCard(unsigned number) { return openCard(number) + line("END:VCARD"); }

std::string photoCard(unsigned number, std::size_t pictureBytes) {
  const std::string bytes = picture(number, pictureBytes);
  const std::string text =
      CARD_Creator().base64Encode(bytes.data(), static_cast<int>(bytes.size()));
  return openCard(number) + line("PHOTO;TYPE=JPEG;ENCODING=BASE64:") + " " +
         folded(text, kPhotoLine - 1) + kLineEnd + line("END:VCARD");
}

std::string foldedCard(unsigned number, std::size_t textBytes) {
  Dice dice(number);
  const std::size_t share = textBytes / 16;
  const std::string name = dice.pick(kSurnames) + std::to_string(number);
  std::string card = line("BEGIN:VCARD") + line("VERSION:3.0") + line("N:" + name + ";Test;;;") +
                     line("FN:Test " + name) + line("TEL;TYPE=CELL:" + dice.phone());
  card += folded("ADR;TYPE=WORK:;;" + words(dice, share) + ";Bergen;;5003;Norway", kTextLine);
  card += folded("ORG:" + words(dice, share), kTextLine);
  card += folded("TITLE:" + words(dice, share), kTextLine);
  card += folded("NOTE:" + words(dice, textBytes - 3 * share), kTextLine);
  return card + line("END:VCARD");
}

cards::Contact contact(unsigned number) {
  Dice dice(number);
  cards::Contact contact;
  contact.firstname = dice.pick(kFirstnames);
  contact.surname = dice.pick(kSurnames) + std::to_string(number);
  contact.defaultnumber = "Mobile";
  contact.office = dice.phone();
  contact.office2 = dice.phone();
  contact.mobile = dice.phone();
  contact.privatenumber = dice.phone();
  contact.email = "person" + std::to_string(number) + "@example.org";
  contact.address = dice.pick(kStreets) + " " + std::to_string(1 + dice.below(200)) + ", Bergen";
  contact.address2 = dice.pick(kStreets) + " " + std::to_string(1 + dice.below(200)) + ", Oslo";
  contact.company = dice.pick(kCompanies);
  contact.jobfunction = dice.pick(kJobs);
  return contact;
}

std::string picture(unsigned number, std::size_t size) {
  Dice dice(number);
  std::string bytes("\xFF\xD8\xFF\xE0");
  while (bytes.size() < size) bytes += static_cast<char>(dice.byte());
  bytes.resize(size);
  return bytes;
}

}  // namespace bench
