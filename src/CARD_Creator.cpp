#include "CARD_Creator.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "TextWriter.h"
#include "Trace.h"

namespace {

constexpr const char* kLogComponent = "VCARD Parser";
constexpr const char* kLogSource = "CARD_Creator";

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// BASE64 characters of each 12-bit value.
using CharacterPairs = std::array<std::array<char, 2>, 4096>;
constexpr CharacterPairs kBase64Pairs = [] {
  CharacterPairs pairs{};
  for (std::size_t bits = 0; bits < pairs.size(); ++bits) {
    pairs[bits] = {kBase64Alphabet[bits >> 6], kBase64Alphabet[bits & 63U]};
  }
  return pairs;
}();

void putCharacters(char* out, std::size_t bits) {
  std::memcpy(out, kBase64Pairs[bits >> 12].data(), 2);
  std::memcpy(out + 2, kBase64Pairs[bits & 4095U].data(), 2);
}

constexpr const char* kPictureDirectory = "/data/images/";
constexpr std::size_t kMaxPicture = 102400;

/// Opens a picture for reading; -1 on failure. A contact without a picture names a folder, which
/// isn't opened unless it would become descriptor 0: that is logged as a different failure.
int openPicture(const std::string& file) {
  // `c_str`, because the system sees the name only up to a zero byte.
  if (std::string_view(file.c_str()).ends_with('/') && fcntl(STDIN_FILENO, F_GETFD) != -1)
    return -1;
  // O_NONBLOCK: don't wait for a writer if the path is a FIFO.
  return open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

/// Estimated size of a card without a picture.
constexpr std::size_t kCardSize = 512;
/// Room for the text around a picture and the end of the card.
constexpr std::size_t kLineFrame = 64;

/// Writes a text property unless its value is empty.
void writeText(TextWriter& out, std::string_view name, const std::string& value) {
  if (value.empty()) return;
  out.add(name);
  out.add(";CHARSET=UTF-8:");
  out.add(value);
  out.add(kLineEnd);
}

constexpr std::size_t base64Size(std::size_t size) { return (size + 2) / 3 * 4; }

/// `base64Encode`, appending to a text.
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

// The creator's operations, appending to a card.

// The space after "VERSION:" is kept for compatibility.
void writeProlog(TextWriter& out) {
  TRACE_ENTRY("prolog");
  TRACE_EXIT("prolog");
  out.add("BEGIN:VCARD\r\nVERSION: 2.1\r\n");
}

void writeEpilog(TextWriter& out) {
  TRACE_ENTRY("epilog");
  TRACE_EXIT("epilog");
  out.add("END:VCARD\r\n");
}

void writeName(TextWriter& out, const std::string& first, const std::string& last) {
  TRACE_ENTRY("addName");
  if (!first.empty() || !last.empty()) {
    out.add("N;CHARSET=UTF-8:");
    out.add(last);
    out.add(";");
    out.add(first);
    out.add(";;;\r\n");
  }
  TRACE_EXIT("addName");
}

void writePhoneNumber(TextWriter& out, std::string_view type, const std::string& number,
                      bool preferred) {
  TRACE_ENTRY("addPhoneNumber");
  if (!number.empty()) {
    out.add("TEL;VOICE;");
    out.add(type);
    if (preferred) out.add(";PREF");
    out.add(":");
    out.add(number);
    out.add(kLineEnd);
  }
  TRACE_EXIT("addPhoneNumber");
}

void writeOffice(TextWriter& out, const std::string& number, bool preferred) {
  TRACE_ENTRY("addOffice");
  writePhoneNumber(out, "WORK", number, preferred);
  TRACE_EXIT("addOffice");
}

void writeMobile(TextWriter& out, const std::string& number, bool preferred) {
  TRACE_ENTRY("addMobile");
  writePhoneNumber(out, "CELL", number, preferred);
  TRACE_EXIT("addMobile");
}

void writePrivate(TextWriter& out, const std::string& number, bool preferred) {
  TRACE_ENTRY("addPrivate");
  writePhoneNumber(out, "HOME", number, preferred);
  TRACE_EXIT("addPrivate");
}

void writeAddress(TextWriter& out, const std::string& value) {
  TRACE_ENTRY("addAddress");
  TRACE_EXIT("addAddress");
  writeText(out, "ADR", value);
}

void writeEmail(TextWriter& out, const std::string& value) {
  TRACE_ENTRY("addEmail");
  TRACE_EXIT("addEmail");
  writeText(out, "EMAIL;INTERNET", value);
}

void writeCompany(TextWriter& out, const std::string& value) {
  TRACE_ENTRY("addCompany");
  TRACE_EXIT("addCompany");
  writeText(out, "ORG", value);
}

void writeJobFunction(TextWriter& out, const std::string& value) {
  TRACE_ENTRY("addJobFunction");
  TRACE_EXIT("addJobFunction");
  writeText(out, "TITLE", value);
}

void appendPicture(std::string& card, const std::string& path) {
  TRACE_ENTRY("addPicture");
  const bool isWhole = path.find(kPictureDirectory) != std::string::npos;
  const std::string file = isWhole ? path : kPictureDirectory + path;
  TRACE("\tFile to read: %s", file.c_str());
  const int descriptor = openPicture(file);
  if (descriptor == 0) {
    LOG_ERROR("\tcannot open file");
  } else {
    // A failed open is logged as a failed read.
    std::array<char, kMaxPicture> buffer;
    const auto length =
        descriptor < 0 ? -1 : static_cast<int>(read(descriptor, buffer.data(), buffer.size()));
    TRACE("\tfile length: %d\n", length);
    if (length <= 0) {
      LOG_ERROR("\terror during reading file.");
    } else {
      card.reserve(card.size() + base64Size(static_cast<std::size_t>(length)) + kLineFrame);
      card += "PHOTO;ENCODING=BASE64;TYPE=JPEG:";
      appendBase64(card, buffer.data(), length);
      card.append(kLineEnd).append("\n");
    }
  }
  if (descriptor >= 0) close(descriptor);
  TRACE_EXIT("addPicture");
}

/// Returns what one of these functions writes.
template <typename Step, typename... Values>
std::string written(const Step& step, const Values&... values) {
  std::string text;
  TextWriter out(text);
  step(out, values...);
  out.flush();
  return text;
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
  TextWriter out(card);
  writeProlog(out);
  writeName(out, contact.firstname, contact.surname);
  writeOffice(out, contact.office, contact.defaultnumber == "Office");
  writeOffice(out, contact.office2, contact.defaultnumber == "Office2");
  writeMobile(out, contact.mobile, contact.defaultnumber == "Mobile");
  writePrivate(out, contact.privatenumber, contact.defaultnumber == "Private");
  writeAddress(out, contact.address);
  writeAddress(out, contact.address2);
  writeEmail(out, contact.email);
  writeCompany(out, contact.company);
  writeJobFunction(out, contact.jobfunction);
  out.flush();
  appendPicture(card, contact.picture);
  writeEpilog(out);
  out.flush();
  TRACE("\tvCard created: %s", card.c_str());
  TRACE_EXIT("createVCard");
  return card;
}

std::string CARD_Creator::prolog() { return written(writeProlog); }

std::string CARD_Creator::epilog() { return written(writeEpilog); }

std::string CARD_Creator::addName(const std::string& first, const std::string& last) {
  return written(writeName, first, last);
}

std::string CARD_Creator::addPhoneNumber(const std::string& type, const std::string& number,
                                         bool preferred) {
  return written(writePhoneNumber, type, number, preferred);
}

std::string CARD_Creator::addOffice(const std::string& number, bool preferred) {
  return written(writeOffice, number, preferred);
}

std::string CARD_Creator::addMobile(const std::string& number, bool preferred) {
  return written(writeMobile, number, preferred);
}

std::string CARD_Creator::addPrivate(const std::string& number, bool preferred) {
  return written(writePrivate, number, preferred);
}

std::string CARD_Creator::addAddress(const std::string& value) {
  return written(writeAddress, value);
}

std::string CARD_Creator::addEmail(const std::string& value) { return written(writeEmail, value); }

std::string CARD_Creator::addCompany(const std::string& value) {
  return written(writeCompany, value);
}

std::string CARD_Creator::addJobFunction(const std::string& value) {
  return written(writeJobFunction, value);
}

std::string CARD_Creator::addPicture(const std::string& path) {
  std::string property;
  appendPicture(property, path);
  return property;
}

std::string CARD_Creator::base64Encode(const char* data, int length) {
  std::string text;
  appendBase64(text, data, length);
  return text;
}
