#include "CARD_Parser.h"

#include <strings.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "TextScan.h"
#include "TextWriter.h"
#include "Trace.h"

namespace {

constexpr const char* kLogComponent = "VCARD Parser";
constexpr const char* kLogSource = "CARD_Parser";

constexpr const char* kPhotoDirectory = "/data/images/";

/// Estimated size of a message without its longer fields.
constexpr std::size_t kMessageFrame = 640;

namespace tag {
constexpr XmlTag kSurname("Surname");
constexpr XmlTag kFirstname("Firstname");
constexpr XmlTag kOffice("Office");
constexpr XmlTag kOffice2("Office2");
constexpr XmlTag kMobile("Mobile");
constexpr XmlTag kPrivate("Private");
constexpr XmlTag kEmail("Email");
constexpr XmlTag kAddress("Address");
constexpr XmlTag kAddress2("Address2");
constexpr XmlTag kCompany("Company");
constexpr XmlTag kJobFunction("JobFunction");
constexpr XmlTag kDefaultNumber("DefaultNumber");
constexpr XmlTag kPicture("Picture");
constexpr XmlTag kGroup("Group");
}  // namespace tag

enum PropertyKind {
  kIgnored,
  kBegin,
  kEnd,
  kVersion,
  kName,
  kFormattedName,
  kTelephone,
  kEmail,
  kTitle,
  kOrganisation,
  kAddress,
  kPhoto,
};

/// Case-insensitive compare; `word` is upper case. Most texts differ in the first character.
bool equalsIgnoringCase(const char* text, const char* word) {
  const char first = *text;
  const bool sameStart =
      first == *word || (first >= 'a' && first <= 'z' && first - 'a' + 'A' == *word);
  return sameStart && strcasecmp(text, word) == 0;
}

struct PhotoType {
  const char* type;
  const char* extension;
};

// "PMB" is intended: existing telephones use it for PBM.
constexpr std::array<PhotoType, 16> kPhotoTypes{{
    {"GIF", "gif"},
    {"CGM", "cgm"},
    {"WMF", "wmf"},
    {"BMP", "bmp"},
    {"MET", "met"},
    {"PMB", "pbm"},
    {"DIB", "dib"},
    {"PICT", "pct"},
    {"TIFF", "tif"},
    {"PS", "ps"},
    {"PDF", "pdf"},
    {"JPEG", "jpg"},
    {"MPEG", "mpg"},
    {"MPEG2", "mpg"},
    {"AVI", "avi"},
    {"QTIME", "qt"},
}};

/// Case-insensitive compare with a word of upper case letters only.
template <std::size_t kSize>
constexpr bool isWord(const char* text, const char (&word)[kSize]) {
  constexpr int kLowerCase = 'a' - 'A';
  for (std::size_t i = 0; i + 1 < kSize; ++i) {
    if ((text[i] | kLowerCase) != (word[i] | kLowerCase)) return false;
  }
  return text[kSize - 1] == '\0';
}

constexpr char lowerCase(char letter) { return static_cast<char>(letter | ('a' - 'A')); }

PropertyKind propertyKind(const char* name) {
  switch (lowerCase(*name)) {
    case 'a':
      return isWord(name, "ADR") ? kAddress : kIgnored;
    case 'b':
      return isWord(name, "BEGIN") ? kBegin : kIgnored;
    case 'e':
      return isWord(name, "EMAIL") ? kEmail : isWord(name, "END") ? kEnd : kIgnored;
    case 'f':
      return isWord(name, "FN") ? kFormattedName : kIgnored;
    case 'n':
      return isWord(name, "N") ? kName : kIgnored;
    case 'o':
      return isWord(name, "ORG") ? kOrganisation : kIgnored;
    case 'p':
      return isWord(name, "PHOTO") ? kPhoto : kIgnored;
    case 't':
      return isWord(name, "TEL") ? kTelephone : isWord(name, "TITLE") ? kTitle : kIgnored;
    case 'v':
      return isWord(name, "VERSION") ? kVersion : kIgnored;
    default:
      return kIgnored;
  }
}

/// Whether the property's data have a character set.
constexpr bool isText(int kind) {
  return kind == kName || kind == kFormattedName || kind == kEmail || kind == kTitle ||
         kind == kOrganisation || kind == kAddress;
}

/// The PHONE_ flag of a TEL parameter, 0 for an unknown one.
int phoneFlag(const char* name) {
  constexpr int kUnsupported = CARD_Parser::PHONE_UNSUPPORTED;
  switch (lowerCase(*name)) {
    case 'b':
      return isWord(name, "BBS") ? kUnsupported : 0;
    case 'c':
      return isWord(name, "CELL")  ? CARD_Parser::PHONE_CELL
             : isWord(name, "CAR") ? kUnsupported
                                   : 0;
    case 'f':
      return isWord(name, "FAX") ? kUnsupported : 0;
    case 'h':
      return isWord(name, "HOME") ? CARD_Parser::PHONE_HOME : 0;
    case 'i':
      return isWord(name, "ISDN") ? kUnsupported : 0;
    case 'm':
      return isWord(name, "MSG") || isWord(name, "MODEM") ? kUnsupported : 0;
    case 'p':
      return isWord(name, "PREF")   ? CARD_Parser::PHONE_PREF
             : isWord(name, "PAGE") ? kUnsupported
                                    : 0;
    case 'v':
      return isWord(name, "VOICE")   ? CARD_Parser::PHONE_VOICE
             : isWord(name, "VIDEO") ? kUnsupported
                                     : 0;
    case 'w':
      return isWord(name, "WORK") ? CARD_Parser::PHONE_WORK : 0;
    default:
      return 0;
  }
}

const char* orNull(const char* text) { return text == nullptr ? "(null)" : text; }

/// Logs what `addProperty` logs, for elements written without it.
void traceProperty() {
  TRACE_ENTRY("addProperty");
  TRACE_EXIT("addProperty");
}

}  // namespace

CARD_Parser::CARD_Parser(OBEXStorage* storage) : m_storage(storage) {
  TRACE_ENTRY("CARD_Parser");
  TRACE_EXIT("CARD_Parser");
}

CARD_Parser::~CARD_Parser() {
  TRACE_ENTRY("~CARD_Parser");
  TRACE_EXIT("~CARD_Parser");
}

void CARD_Parser::clearBuffers() {
  TRACE_ENTRY("clearBuffers");
  m_message.clear();
  TRACE_EXIT("clearBuffers");
}

// Properties and their parameters

int CARD_Parser::groupHandler(const char* group) {
  static_cast<void>(group);
  TRACE_ENTRY("groupHandler");
  TRACE_EXIT("groupHandler");
  return 1;
}

int CARD_Parser::propHandler(const char* name, const char** params) {
  TRACE_ENTRY("propHandler");
  int result = 1;
  if (name == nullptr) {
    TRACE("\tInvalid parameter(s)");
    TRACE_EXIT("propHandler");
    return 0;
  }
  TRACE("\tProperty name = [%s]", name);
  const PropertyKind kind = propertyKind(name);
  if (kind == kBegin) {
    ++m_vcardDepth;
    m_propertyKind = kBegin;
  } else if (kind == kEnd) {
    --m_vcardDepth;
    m_propertyKind = kEnd;
  } else if (m_vcardDepth == 0) {
    TRACE("\tNo BEGIN specified");
    result = 0;
  } else if (m_vcardDepth == 1) {
    result = readProperty(kind, params);
  } else {
    TRACE("\tNo nested vCards supported!");
  }
  TRACE_EXIT("propHandler");
  return result;
}

int CARD_Parser::propertyHandler1Level(const char* name, const char** params) {
  return readProperty(propertyKind(name), params);
}

/// Handles a property outside nested cards. `kind` is a `PropertyKind`.
int CARD_Parser::readProperty(int kind, const char** params) {
  TRACE_ENTRY("propertyHandler1Level");
  m_propertyKind = kIgnored;
  m_charset = CHARSET_NONE;
  if (kind == kPhoto) {
    TRACE("\tGET Photo Ext");
    m_photoExt = getPhotoExt(params);
  }
  const bool isOtherMail =
      kind == kEmail && params[0] != nullptr && !equalsIgnoringCase(params[0], "INTERNET");
  if (kind != kBegin && kind != kEnd && !isOtherMail) {
    m_propertyKind = kind;
    if (kind == kTelephone) m_phoneKind = getPhoneKind(params);
    if (isText(kind)) {
      m_charset = getCharset(params);
      TRACE("\tcharset: %d", m_charset);
    }
  }
  TRACE_EXIT("propertyHandler1Level");
  return 1;
}

int CARD_Parser::getPhoneKind(const char** params) {
  TRACE_ENTRY("getPhoneKind");
  int kind = params[0] == nullptr ? PHONE_VOICE : 0;
  for (; params[0] != nullptr; params += 2) {
    const int flag = phoneFlag(params[0]);
    if (flag == PHONE_UNSUPPORTED) {
      if ((kind & PHONE_VOICE) == 0) kind = PHONE_UNSUPPORTED;
    } else {
      kind |= flag;
      if (flag == PHONE_VOICE) kind &= ~PHONE_UNSUPPORTED;
    }
  }
  TRACE_EXIT("getPhoneKind");
  return kind;
}

t_cardparser_charset CARD_Parser::getCharset(const char** params) {
  TRACE_ENTRY("getCharset");
  t_cardparser_charset charset = CHARSET_ISO_8859_1;
  for (; params[0] != nullptr; params += 2) {
    if (!equalsIgnoringCase(params[0], "CHARSET")) continue;
    const char* value = params[1] == nullptr ? "" : params[1];
    if (equalsIgnoringCase(value, "UTF-8")) {
      charset = CHARSET_UTF8;
    } else if (equalsIgnoringCase(value, "ISO-8859-1")) {
      charset = CHARSET_ISO_8859_1;
    } else if (equalsIgnoringCase(value, "ISO-8859-2")) {
      charset = CHARSET_ISO_8859_2;
    } else {
      charset = CHARSET_UNKNOWN;
    }
    break;
  }
  TRACE_EXIT("getCharset");
  return charset;
}

// Data

int CARD_Parser::dataHandler(const char* data, int len) {
  TRACE_ENTRY("dataHandler");
  TRACE("\tdataHandler, data: <%s>, len: [%d]\n", orNull(data), len);
  int result = 1;
  if (data == nullptr || len == 0) {
    TRACE("\tInvalid parameter(s)");
  } else if (m_vcardDepth != 1) {
    TRACE("\tNo nested vCards supported!");
  } else {
    result = handleProperty(data, len);
  }
  TRACE_EXIT("dataHandler");
  return result;
}

int CARD_Parser::handleProperty(const char* data, int len) {
  switch (m_propertyKind) {
    case kBegin:
      return equalsIgnoringCase(data, "VCARD") ? 1 : 0;
    case kVersion:
      TRACE("\tvCard version: [%s]", data);
      return 1;
    case kName:
      return handleName(data);
    case kTelephone:
      return handleTelephone(data);
    case kEmail:
      TRACE("\tParsing EMAIL");
      return handleText(data, m_email, "\tEmail is [%s]");
    case kTitle:
      TRACE("\tParsing TITLE");
      return handleText(data, m_jobFunction, "\tJob is [%s]");
    case kOrganisation:
      TRACE("\tParsing ORG");
      return handleText(data, m_company, "\tCompany is [%s]");
    case kAddress:
      TRACE("\tParsing ADDR");
      if (m_address.empty()) return handleText(data, m_address, "\tAddress is [%s]");
      return handleText(data, m_address2, "\tAddress2 is [%s]");
    case kPhoto:
      return handlePhoto(data, len);
    default:
      return 1;
  }
}

int CARD_Parser::handleName(const char* data) {
  TRACE("\tParsing NAME");
  Utf8Copy copy;
  const auto* name = reinterpret_cast<const unsigned char*>(toUtf8(data, copy));
  if (name == nullptr) return 0;
  if (m_surname.empty()) m_surname = getToken(name, 1, ';');
  if (m_firstname.empty()) m_firstname = getToken(name, 2, ';');
  return 1;
}

int CARD_Parser::handleTelephone(const char* data) {
  TRACE("\tParsing TELEPHONE");
  if ((m_phoneKind & PHONE_UNSUPPORTED) != 0) return 1;
  const bool pref = (m_phoneKind & PHONE_PREF) != 0;
  if ((m_phoneKind & (PHONE_WORK | PHONE_HOME | PHONE_CELL)) == 0) handleDefault(data, pref);
  if ((m_phoneKind & PHONE_WORK) != 0) handleOffice(data, pref);
  if ((m_phoneKind & PHONE_HOME) != 0) handlePrivate(data, pref);
  if ((m_phoneKind & PHONE_CELL) != 0) handleMobile(data, pref);
  return 1;
}

/// Stores the value as UTF-8 unless the field has one, and logs it with the format `log`.
int CARD_Parser::handleText(const char* data, std::string& field, const char* log) {
  if (!field.empty()) return 1;
  Utf8Copy copy;
  const char* const text = toUtf8(data, copy);
  if (text == nullptr) return 0;
  field = text;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  TRACE(log, field.c_str());
#pragma GCC diagnostic pop
  return 1;
}

std::string CARD_Parser::getToken(const unsigned char* data, int index, char separator) {
  TRACE_ENTRY("getToken");
  std::string token;
  const char* text = reinterpret_cast<const char*>(data);
  if (text != nullptr && !(index == 1 && *text == separator)) {
    for (int skipped = 1; text != nullptr && skipped < index; ++skipped) {
      text = std::strchr(text, separator);
      if (text != nullptr) ++text;
    }
    if (text != nullptr) {
      if (*text == separator) ++text;
      const char* end = std::strchr(text, separator);
      token = end == nullptr ? std::string(text) : std::string(text, end);
    }
  }
  TRACE_EXIT("getToken");
  return token;
}

// Number slots

void CARD_Parser::handleOffice(std::string number, bool pref) {
  TRACE_ENTRY("handleOffice");
  const char* digit = nullptr;
  if (m_office.empty()) {
    m_office = std::move(number);
    digit = "1";
  } else if (m_office2.empty()) {
    m_office2 = std::move(number);
    digit = "2";
  }
  if (digit == nullptr) {
    TRACE("\tIgnoring preferred number phone number since it;s neitheroffice or office2 number.");
  } else if (!pref) {
    m_defaultNumber = digit;
  } else if (m_preferredNumber.empty()) {
    m_preferredNumber = digit;
  }
  TRACE_EXIT("handleOffice");
}

void CARD_Parser::handleMobile(std::string number, bool pref) {
  TRACE_ENTRY("handleMobile");
  if (m_mobile.empty() || (pref && m_preferredNumber.empty())) {
    m_mobile = std::move(number);
    if (m_preferredNumber.empty()) {
      if (pref) {
        m_preferredNumber = "3";
      } else if (m_defaultNumber != "1" && m_defaultNumber != "2") {
        m_defaultNumber = "3";
      }
    }
  }
  TRACE_EXIT("handleMobile");
}

void CARD_Parser::handlePrivate(std::string number, bool pref) {
  TRACE_ENTRY("handlePrivate");
  if (m_private.empty() || (pref && m_preferredNumber.empty())) {
    m_private = std::move(number);
    if (m_preferredNumber.empty()) {
      if (pref) {
        m_preferredNumber = "4";
      } else if (m_defaultNumber != "1" && m_defaultNumber != "2" && m_defaultNumber != "3") {
        m_defaultNumber = "4";
      }
    }
  }
  TRACE_EXIT("handlePrivate");
}

void CARD_Parser::handleDefault(std::string number, bool pref) {
  TRACE_ENTRY("handleDefault");
  const bool officeFree = m_office.empty() || m_office2.empty();
  if (officeFree || (pref && m_preferredNumber.empty())) {
    handleOffice(std::move(number), pref);
  } else if (m_mobile.empty()) {
    handleMobile(std::move(number), pref);
  } else if (m_private.empty()) {
    handlePrivate(std::move(number), pref);
  }
  TRACE_EXIT("handleDefault");
}

// Character sets

/// Converts to UTF-8. Returns `data` itself for ASCII, otherwise the result in `copy`, null if the
/// character set can't be converted. With tracing on, ASCII is converted too, to log the steps.
const char* CARD_Parser::toUtf8(const char* data, Utf8Copy& copy) {
  const bool isKnown = m_charset == CHARSET_UTF8 || m_charset == CHARSET_ISO_8859_1;
  if (isKnown && !loggingOnAppUni(kLogComponent, kLogTrace) &&
      textscan::isAscii(data, std::strlen(data))) {
    return data;
  }
  copy.reset(data2Utf8(data, m_charset));
  return copy.get();
}

char* CARD_Parser::data2Utf8(const char* data, t_cardparser_charset charset) {
  TRACE_ENTRY("data2Utf8");
  char* converted = nullptr;
  if (charset == CHARSET_UTF8 || charset == CHARSET_ISO_8859_1) {
    if (data == nullptr) {
      TRACE("\tInvalid parameter(s), charset=[%d]", charset);
    } else if (charset == CHARSET_UTF8) {
      converted = copyUtf8(data);
    } else {
      int length = 0;
      converted =
          reinterpret_cast<char*>(latin12Utf8(reinterpret_cast<const unsigned char*>(data),
                                              static_cast<int>(std::strlen(data)), &length));
    }
  }
  TRACE_EXIT("data2Utf8");
  return converted;
}

/// Copies the text, cut at the first byte that `validateUTF8String` refuses.
char* CARD_Parser::copyUtf8(const char* data) {
  const std::size_t size = std::strlen(data) + 1;
  char* copy = static_cast<char*>(std::malloc(size));
  if (copy == nullptr) {
    LOG_ERROR("\tMemory allocation error!");
    return nullptr;
  }
  std::memcpy(copy, data, size);
  if (validateUTF8String(reinterpret_cast<unsigned char*>(copy))) {
    TRACE("\tl_utf8_data is valid UTF8 string");
  } else {
    LOG_ERROR("\tl_utf8_data is not valid UTF8 string: %s", copy);
  }
  return copy;
}

unsigned char* CARD_Parser::latin12Utf8(const unsigned char* data, int len, int* outLen) {
  static_cast<void>(len);
  TRACE_ENTRY("latin12Utf8");
  // A character from 0x80 on takes two bytes in UTF-8.
  std::size_t size = 0;
  std::size_t wide = 0;
  for (; data[size] != 0; ++size) wide += data[size] >> 7;
  const std::size_t total = size + wide;
  TRACE("\tutf-8 length: %d", outLen == nullptr ? 0 : *outLen);
  auto* buffer = static_cast<unsigned char*>(std::malloc(total + 1));
  if (buffer == nullptr) {
    LOG_ERROR("\tMemory allocation error!");
    TRACE_EXIT("latin12Utf8");
    return nullptr;
  }
  if (wide == 0) {
    std::memcpy(buffer, data, size);
  } else {
    unsigned char* out = buffer;
    for (std::size_t i = 0; i < size; ++i) out += unicodeChar2Utf8(data[i], out, 2);
  }
  buffer[total] = 0;
  if (outLen != nullptr) *outLen = static_cast<int>(total);
  TRACE_EXIT("latin12Utf8");
  return buffer;
}

int CARD_Parser::unicodeChar2Utf8(unsigned int codePoint, unsigned char* buf, int size) {
  if ((codePoint >= 0xD800 && codePoint <= 0xDFFF) || codePoint == 0xFFFE || codePoint == 0xFFFF ||
      codePoint > 0x10FFFF) {
    return -1;
  }
  const int length = codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
  if (buf == nullptr) return length;
  if (size < length) return -1;
  constexpr std::array<unsigned, 5> kLead{0, 0, 0xC0, 0xE0, 0xF0};
  for (int i = length - 1; i > 0; --i) {
    buf[i] = static_cast<unsigned char>(0x80 | (codePoint & 0x3F));
    codePoint >>= 6;
  }
  buf[0] = static_cast<unsigned char>(kLead[static_cast<std::size_t>(length)] | codePoint);
  return length;
}

int validateUTF8String(unsigned char* s) {
  while (*s != 0) {
    if (*s < 0x80) {
      ++s;
      continue;
    }
    const bool isLead = (*s & 0xE0) == 0xC0 || (*s & 0xF0) == 0xE0;
    if (!isLead || (s[1] & 0xC0) != 0x80) {
      *s = 0;
      return 0;
    }
    s += 2;
  }
  return 1;
}

// Photo

std::string CARD_Parser::getPhotoExt(const char** params) {
  TRACE_ENTRY("getPhotoExt");
  for (; params[0] != nullptr; params += 2) {
    if (equalsIgnoringCase(params[0], "TYPE")) {
      TRACE("\tPHOTO Format=[%s]", orNull(params[1]));
      for (const PhotoType& known : kPhotoTypes) {
        if (params[1] == nullptr || !equalsIgnoringCase(params[1], known.type)) continue;
        TRACE_EXIT("getPhotoExt");
        return known.extension;
      }
    }
    TRACE("\tNEXT PHOTO param...");
  }
  TRACE("\tPHOTO param error");
  TRACE_EXIT("getPhotoExt");
  return {};
}

std::string CARD_Parser::getPhotoFilename() {
  TRACE_ENTRY("getPhotoFilename");
  std::string name = m_surname + m_firstname;
  if (name.empty()) name = m_company;
  TRACE_EXIT("getPhotoFilename");
  return "photo" + name + "." + m_photoExt;
}

int CARD_Parser::handlePhoto(const char* data, int len) {
  TRACE("\tParsing PHOTO");
  const std::string path = kPhotoDirectory + getPhotoFilename();
  TRACE("\t\tFile to store: %s", path.c_str());
  if (m_storage == nullptr) {
    LOG_ERROR("OBEX Storage pointer is NULL");
    return 0;
  }
  if (!m_storage->writeFile(data, len, path)) {
    LOG_ERROR("Failure when trying to save picture clip");
    return 0;
  }
  return 1;
}

// The message

std::string CARD_Parser::addProperty(std::string name, std::string value, std::string attributes,
                                     unsigned int maxLength, bool escape) {
  TRACE_ENTRY("addProperty");
  std::string element;
  if (!value.empty()) {
    const bool cut = maxLength != 0 && value.size() > maxLength;
    if (cut) value = value.substr(0, maxLength - 3);
    element.append(1, '<').append(name);
    if (!attributes.empty()) element.append(1, ' ').append(attributes);
    element += '>';
    if (escape) {
      TextWriter out(element);
      XmlWriter(out).addEscaped(value);
      out.flush();
    } else {
      element += value;
    }
    if (cut) element += "...";
    element.append("</").append(name).append(1, '>');
  }
  TRACE_EXIT("addProperty");
  return element;
}

const std::string& CARD_Parser::getPhoneBookWriteMessage(const std::string& encoding) {
  TRACE_ENTRY("getPhoneBookWriteMessage");
  m_message.clear();
  m_message.reserve(kMessageFrame + encoding.size() + m_surname.size() + m_firstname.size() +
                    m_email.size() + m_address.size() + m_address2.size() + m_company.size() +
                    m_jobFunction.size());
  TextWriter out(m_message);
  XmlWriter xml(out);
  xml.add("<?xml version=\"1.0\" encoding=\"");
  xml.add(encoding);
  xml.add(
      "\"?><Schema name=\"PhoneBook\"><ReasonForMessage>write_request</ReasonForMessage><Entry>");
  addEntry(xml);
  xml.add("</Entry></Schema>");
  out.flush();
  // The entry, the reason and the schema around the fields.
  for (int part = 0; part < 3; ++part) traceProperty();
  TRACE_EXIT("getPhoneBookWriteMessage");
  return m_message;
}

void CARD_Parser::addEntry(XmlWriter& xml) {
  const auto add = [&](const XmlTag& tag, std::string_view value) {
    xml.addElement(tag, value);
    traceProperty();
  };
  const std::string& number = m_preferredNumber.empty() ? m_defaultNumber : m_preferredNumber;
  add(tag::kSurname, m_surname);
  add(tag::kFirstname, m_firstname);
  add(tag::kOffice, m_office);
  add(tag::kOffice2, m_office2);
  add(tag::kMobile, m_mobile);
  add(tag::kPrivate, m_private);
  add(tag::kEmail, m_email);
  add(tag::kAddress, m_address);
  add(tag::kAddress2, m_address2);
  add(tag::kCompany, m_company);
  add(tag::kJobFunction, m_jobFunction);
  add(tag::kDefaultNumber, number);
  if (!m_photoExt.empty()) add(tag::kPicture, getPhotoFilename());
  add(tag::kGroup, "0");
}
