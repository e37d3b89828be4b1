#include "CARD_Creator.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "OBEXServiceIfc.h"
#include "Trace.h"

namespace {

constexpr const char* kLogComponent = "VCARD Parser";
constexpr const char* kLogSource = "CARD_Creator";

const std::string LINE_END = "\r\n";
const std::string SEPARATOR = ";";
const std::string DATA_SEPARATOR = ":";
const std::string BASE64_ALPHABET =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// The two characters of every 12 bits.
using CharacterPairs = std::array<std::array<char, 2>, 4096>;
const CharacterPairs BASE64_PAIRS = [] {
  CharacterPairs pairs{};
  for (std::size_t bits = 0; bits < pairs.size(); ++bits) {
    pairs[bits] = {BASE64_ALPHABET[bits >> 6], BASE64_ALPHABET[bits & 63U]};
  }
  return pairs;
}();

void putCharacters(char* out, std::size_t bits) {
  std::memcpy(out, BASE64_PAIRS[bits >> 12].data(), 2);
  std::memcpy(out + 2, BASE64_PAIRS[bits & 4095U].data(), 2);
}

const std::string kPictureDirectory = "/data/images/";
constexpr std::size_t kMaxPicture = 102400;

/// The descriptor to read a picture from. A folder, which is what a contact without a picture
/// names, can't be read: it isn't opened, unless it would be descriptor 0, which counts as not
/// opened.
int openPicture(const std::string& file) {
  // The system sees the name up to its first zero byte only.
  if (std::string_view(file.c_str()).ends_with('/') && fcntl(STDIN_FILENO, F_GETFD) != -1)
    return -1;
  // Not to wait for a writer where the path names a pipe.
  return open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

/// What stands around the values of a line, and more: room made at once.
constexpr std::size_t kLineFrame = 64;
/// What an ordinary card takes.
constexpr std::size_t kCardSize = 512;

/// The line of a text property, empty without a value.
std::string textProperty(std::string_view name, const std::string& value) {
  if (value.empty()) return {};
  std::string line;
  line.reserve(value.size() + kLineFrame);
  line.append(name).append(SEPARATOR).append("CHARSET=UTF-8").append(DATA_SEPARATOR);
  line.append(value).append(LINE_END);
  return line;
}

constexpr std::size_t base64Size(std::size_t size) { return (size + 2) / 3 * 4; }

/// What `base64Encode` does, into a text that is there already.
void appendBase64(std::string& text, const char* data, int length) {
  TRACE_ENTRY("base64Encode");
  const auto size = static_cast<std::size_t>(std::max(length, 0));
  const auto byteAt = [&](std::size_t i) {
    return i < size ? std::size_t{static_cast<unsigned char>(data[i])} : 0U;
  };
  const std::size_t before = text.size();
  text.append(base64Size(size), '=');
  char* out = text.data() + before;
  for (std::size_t i = 0; i < size; i += 3, out += 4) {
    putCharacters(out, byteAt(i) << 16 | byteAt(i + 1) << 8 | byteAt(i + 2));
  }
  if (size % 3 != 0) out[-1] = '=';
  if (size % 3 == 1) out[-2] = '=';
  TRACE_EXIT("base64Encode");
}

}  // namespace

CARD_Creator::CARD_Creator() {
  TRACE_ENTRY("CARD_Creator");
  TRACE_EXIT("CARD_Creator");
}

CARD_Creator::~CARD_Creator() {
  TRACE_ENTRY("~CARD_Creator");
  TRACE_EXIT("~CARD_Creator");
}

std::string CARD_Creator::createVCard(const obex_phonebook_data_t& contact) {
  TRACE_ENTRY("createVCard");
  std::string card;
  card.reserve(kCardSize);
  card += prolog();
  card += addName(contact.firstname, contact.surname);
  card += addOffice(contact.office, contact.defaultnumber == "Office");
  card += addOffice(contact.office2, contact.defaultnumber == "Office2");
  card += addMobile(contact.mobile, contact.defaultnumber == "Mobile");
  card += addPrivate(contact.privatenumber, contact.defaultnumber == "Private");
  card += addAddress(contact.address);
  card += addAddress(contact.address2);
  card += addEmail(contact.email);
  card += addCompany(contact.company);
  card += addJobFunction(contact.jobfunction);
  const std::string picture = addPicture(contact.picture);
  card.reserve(card.size() + picture.size() + kLineFrame);
  card += picture;
  card += epilog();
  TRACE("\tvCard created: %s", card.c_str());
  TRACE_EXIT("createVCard");
  return card;
}

// The blank behind the colon is what other telephones have always been sent.
std::string CARD_Creator::prolog() {
  TRACE_ENTRY("prolog");
  TRACE_EXIT("prolog");
  return "BEGIN:VCARD" + LINE_END + "VERSION: 2.1" + LINE_END;
}

std::string CARD_Creator::epilog() {
  TRACE_ENTRY("epilog");
  TRACE_EXIT("epilog");
  return "END:VCARD" + LINE_END;
}

std::string CARD_Creator::addName(const std::string& first, const std::string& last) {
  TRACE_ENTRY("addName");
  std::string line;
  if (!first.empty() || !last.empty()) {
    line = textProperty("N", last + SEPARATOR + first + SEPARATOR + SEPARATOR + SEPARATOR);
  }
  TRACE_EXIT("addName");
  return line;
}

std::string CARD_Creator::addPhoneNumber(const std::string& type, const std::string& number,
                                         bool preferred) {
  TRACE_ENTRY("addPhoneNumber");
  std::string line;
  if (!number.empty()) {
    line.reserve(type.size() + number.size() + kLineFrame);
    line.append("TEL").append(SEPARATOR).append("VOICE").append(SEPARATOR).append(type);
    if (preferred) line.append(SEPARATOR).append("PREF");
    line.append(DATA_SEPARATOR).append(number).append(LINE_END);
  }
  TRACE_EXIT("addPhoneNumber");
  return line;
}

std::string CARD_Creator::addOffice(const std::string& number, bool preferred) {
  TRACE_ENTRY("addOffice");
  std::string line = addPhoneNumber("WORK", number, preferred);
  TRACE_EXIT("addOffice");
  return line;
}

std::string CARD_Creator::addMobile(const std::string& number, bool preferred) {
  TRACE_ENTRY("addMobile");
  std::string line = addPhoneNumber("CELL", number, preferred);
  TRACE_EXIT("addMobile");
  return line;
}

std::string CARD_Creator::addPrivate(const std::string& number, bool preferred) {
  TRACE_ENTRY("addPrivate");
  std::string line = addPhoneNumber("HOME", number, preferred);
  TRACE_EXIT("addPrivate");
  return line;
}

std::string CARD_Creator::addAddress(const std::string& value) {
  TRACE_ENTRY("addAddress");
  TRACE_EXIT("addAddress");
  return textProperty("ADR", value);
}

std::string CARD_Creator::addEmail(const std::string& value) {
  TRACE_ENTRY("addEmail");
  TRACE_EXIT("addEmail");
  return textProperty("EMAIL" + SEPARATOR + "INTERNET", value);
}

std::string CARD_Creator::addCompany(const std::string& value) {
  TRACE_ENTRY("addCompany");
  TRACE_EXIT("addCompany");
  return textProperty("ORG", value);
}

std::string CARD_Creator::addJobFunction(const std::string& value) {
  TRACE_ENTRY("addJobFunction");
  TRACE_EXIT("addJobFunction");
  return textProperty("TITLE", value);
}

std::string CARD_Creator::addPicture(const std::string& path) {
  TRACE_ENTRY("addPicture");
  const bool isWhole = path.find(kPictureDirectory) != std::string::npos;
  const std::string file = isWhole ? path : kPictureDirectory + path;
  std::string property;
  TRACE("\tFile to read: %s", file.c_str());
  const int descriptor = openPicture(file);
  if (descriptor == 0) {
    LOG_ERROR("\tcannot open file");
  } else {
    // A file that could not be opened is told by the read, as one that is empty.
    std::array<char, kMaxPicture> buffer;
    const auto length =
        descriptor < 0 ? -1 : static_cast<int>(read(descriptor, buffer.data(), buffer.size()));
    TRACE("\tfile length: %d\n", length);
    if (length <= 0) {
      LOG_ERROR("\terror during reading file.");
    } else {
      property.reserve(base64Size(static_cast<std::size_t>(length)) + kLineFrame);
      property += "PHOTO;ENCODING=BASE64;TYPE=JPEG:";
      appendBase64(property, buffer.data(), length);
      property.append(LINE_END).append("\n");
    }
  }
  if (descriptor >= 0) close(descriptor);
  TRACE_EXIT("addPicture");
  return property;
}

std::string CARD_Creator::base64Encode(const char* data, int length) {
  std::string text;
  appendBase64(text, data, length);
  return text;
}
