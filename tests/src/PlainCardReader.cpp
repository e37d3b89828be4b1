#include "tests/src/PlainCardReader.h"

#include <strings.h>

#include <map>

namespace test {

namespace {

bool same(const std::string& a, const std::string& b) {
  return strcasecmp(a.c_str(), b.c_str()) == 0;
}

/// The bytes up to the first zero byte.
std::string upToZero(const std::string& bytes) { return bytes.substr(0, bytes.find('\0')); }

const std::vector<std::pair<std::string, std::string>> kExtensions = {
    {"GIF", "gif"},  {"CGM", "cgm"},   {"WMF", "wmf"}, {"BMP", "bmp"},
    {"MET", "met"},  {"PMB", "pbm"},   {"DIB", "dib"}, {"PICT", "pct"},
    {"TIFF", "tif"}, {"PS", "ps"},     {"PDF", "pdf"}, {"JPEG", "jpg"},
    {"MPEG", "mpg"}, {"MPEG2", "mpg"}, {"AVI", "avi"}, {"QTIME", "qt"},
};

}  // namespace

bool PlainCardReader::onGroup(const std::string&) {
  trace(">groupHandler");
  return true;
}

bool PlainCardReader::onProperty(const std::string& name, const Parameters& parameters) {
  trace(">propHandler");
  trace("\tProperty name = [" + name + "]");
  if (same(name, "BEGIN")) {
    m_depth += 1;
    m_kind = Kind::Begin;
    return true;
  }
  if (same(name, "END")) {
    m_depth -= 1;
    m_kind = Kind::End;
    return true;
  }
  if (m_depth == 0) {
    trace("\tNo BEGIN specified");
    return false;
  }
  if (m_depth == 1) {
    firstLevel(name, parameters);
  } else {
    trace("\tNo nested vCards supported!");
  }
  return true;
}

PlainCardReader::Kind PlainCardReader::kindOf(const std::string& name,
                                              const Parameters& parameters) const {
  if (same(name, "VERSION")) return Kind::Version;
  if (same(name, "N")) return Kind::N;
  if (same(name, "FN")) return Kind::FN;
  if (same(name, "TEL")) return Kind::Tel;
  if (same(name, "PHOTO")) return Kind::Photo;
  if (same(name, "EMAIL") && parameters.empty()) return Kind::Email;
  if (same(name, "EMAIL") && same(parameters[0].name, "INTERNET")) return Kind::Email;
  if (same(name, "TITLE")) return Kind::Title;
  if (same(name, "ORG")) return Kind::Org;
  if (same(name, "ADR")) return Kind::Adr;
  return Kind::None;
}

void PlainCardReader::firstLevel(const std::string& name, const Parameters& parameters) {
  trace(">propertyHandler1Level");
  m_charset = Charset::None;
  m_kind = kindOf(name, parameters);
  if (m_kind == Kind::Tel) m_phone = phoneKind(parameters);
  if (m_kind == Kind::Photo) {
    trace("\tGET Photo Ext");
    m_extension = photoExtension(parameters);
  }
  if (m_kind == Kind::N || m_kind == Kind::FN || m_kind == Kind::Email || m_kind == Kind::Title ||
      m_kind == Kind::Org || m_kind == Kind::Adr) {
    m_charset = charset(parameters);
    trace("\tcharset: " + std::to_string(static_cast<int>(m_charset)));
  }
}

PlainCardReader::Phone PlainCardReader::phoneKind(const Parameters& parameters) {
  trace(">getPhoneKind");
  Phone phone;
  if (parameters.empty()) phone.voice = true;
  for (const PropertyParameter& parameter : parameters) {
    if (same(parameter.name, "WORK")) phone.work = true;
    if (same(parameter.name, "HOME")) phone.home = true;
    if (same(parameter.name, "CELL")) phone.cell = true;
    if (same(parameter.name, "PREF")) phone.pref = true;
    if (same(parameter.name, "VOICE")) {
      phone.voice = true;
      phone.unsupported = false;
    }
    for (const char* other : {"FAX", "MSG", "PAGE", "BBS", "MODEM", "CAR", "ISDN", "VIDEO"}) {
      if (same(parameter.name, other) && !phone.voice) {
        phone = Phone();
        phone.unsupported = true;
      }
    }
  }
  return phone;
}

PlainCardReader::Charset PlainCardReader::charset(const Parameters& parameters) {
  trace(">getCharset");
  for (const PropertyParameter& parameter : parameters) {
    if (!same(parameter.name, "CHARSET")) continue;
    if (!parameter.value) return Charset::Unknown;
    if (same(*parameter.value, "UTF-8")) return Charset::Utf8;
    if (same(*parameter.value, "ISO-8859-1")) return Charset::Latin1;
    if (same(*parameter.value, "ISO-8859-2")) return Charset::Latin2;
    return Charset::Unknown;
  }
  return Charset::Latin1;
}

std::string PlainCardReader::photoExtension(const Parameters& parameters) {
  trace(">getPhotoExt");
  for (const PropertyParameter& parameter : parameters) {
    if (same(parameter.name, "TYPE")) {
      trace("\tPHOTO Format=[" + parameter.value.value_or("(null)") + "]");
      for (const auto& [type, extension] : kExtensions) {
        if (parameter.value && same(*parameter.value, type)) return extension;
      }
    }
    trace("\tNEXT PHOTO param...");
  }
  trace("\tPHOTO param error");
  return "";
}

std::string PlainCardReader::photoName() {
  trace(">getPhotoFilename");
  std::string name = m_last + m_first;
  if (name.empty()) name = m_company;
  return "photo" + name + "." + m_extension;
}

bool PlainCardReader::onData(const std::string& data) {
  const std::string text = upToZero(data);
  trace(">dataHandler");
  trace("\tdataHandler, data: <" + text + ">, len: [" + std::to_string(data.size()) + "]\n");
  if (m_depth == 1) return property(text, data);
  trace("\tNo nested vCards supported!");
  return true;
}

bool PlainCardReader::onEnd() {
  trace(">dataHandler");
  trace("\tdataHandler, data: <(null)>, len: [0]\n");
  trace("\tInvalid parameter(s)");
  return true;
}

bool PlainCardReader::property(const std::string& text, const std::string& data) {
  switch (m_kind) {
    case Kind::Begin:
      return same(text, "VCARD");
    case Kind::Version:
      trace("\tvCard version: [" + text + "]");
      return true;
    case Kind::N:
      return name(text);
    case Kind::Tel:
      telephone(text);
      return true;
    case Kind::Email:
      trace("\tParsing EMAIL");
      return field(m_email, "Email", text);
    case Kind::Title:
      trace("\tParsing TITLE");
      return field(m_job, "Job", text);
    case Kind::Org:
      trace("\tParsing ORG");
      return field(m_company, "Company", text);
    case Kind::Adr:
      return address(text);
    case Kind::Photo:
      return photo(data);
    case Kind::None:
    case Kind::End:
    case Kind::FN:
      return true;
  }
  return true;
}

bool PlainCardReader::name(const std::string& text) {
  trace("\tParsing NAME");
  const std::optional<std::string> converted = utf8(text);
  if (!converted) return false;
  if (m_last.empty()) m_last = token(*converted, 1);
  if (m_first.empty()) m_first = token(*converted, 2);
  return true;
}

void PlainCardReader::telephone(const std::string& number) {
  trace("\tParsing TELEPHONE");
  if (m_phone.unsupported) return;
  if (m_phone.work) office(number, m_phone.pref);
  if (m_phone.home) home(number, m_phone.pref);
  if (m_phone.cell) mobile(number, m_phone.pref);
  if (!m_phone.work && !m_phone.home && !m_phone.cell) plain(number, m_phone.pref);
}

bool PlainCardReader::field(std::string& field, const std::string& what, const std::string& text) {
  if (!field.empty()) return true;
  const std::optional<std::string> converted = utf8(text);
  if (!converted) return false;
  field = *converted;
  trace("\t" + what + " is [" + field + "]");
  return true;
}

bool PlainCardReader::address(const std::string& text) {
  trace("\tParsing ADDR");
  if (m_address.empty()) return field(m_address, "Address", text);
  return field(m_address2, "Address2", text);
}

bool PlainCardReader::photo(const std::string& data) {
  trace("\tParsing PHOTO");
  const std::string path = "/data/images/" + photoName();
  trace("\t\tFile to store: " + path);
  if (m_storage == Storage::None) {
    error("OBEX Storage pointer is NULL");
    return false;
  }
  if (m_storage == Storage::Refusing) {
    error("Failure when trying to save picture clip");
    return false;
  }
  m_photos.push_back({path, data});
  return true;
}

std::string PlainCardReader::token(const std::string& text, int index) {
  trace(">getToken");
  std::string rest = text;
  if (index == 1 && rest.starts_with(';')) return "";
  for (int skipped = 0; skipped < index - 1; ++skipped) {
    const std::size_t separator = rest.find(';');
    if (separator == std::string::npos) return "";
    rest = rest.substr(separator + 1);
  }
  if (rest.starts_with(';')) rest = rest.substr(1);
  return rest.substr(0, rest.find(';'));
}

void PlainCardReader::office(const std::string& number, bool pref) {
  trace(">handleOffice");
  std::string digit;
  if (m_office.empty()) {
    m_office = number;
    digit = "1";
  } else if (m_office2.empty()) {
    m_office2 = number;
    digit = "2";
  } else {
    trace("\tIgnoring preferred number phone number since it;s neitheroffice or office2 number.");
    return;
  }
  if (pref && m_preferred.empty()) m_preferred = digit;
  if (!pref) m_default = digit;
}

void PlainCardReader::mobile(const std::string& number, bool pref) {
  trace(">handleMobile");
  if (!m_mobile.empty() && !(pref && m_preferred.empty())) return;
  m_mobile = number;
  if (pref) {
    if (m_preferred.empty()) m_preferred = "3";
  } else if (m_preferred.empty() && m_default != "1" && m_default != "2") {
    m_default = "3";
  }
}

void PlainCardReader::home(const std::string& number, bool pref) {
  trace(">handlePrivate");
  if (!m_private.empty() && !(pref && m_preferred.empty())) return;
  m_private = number;
  if (pref) {
    if (m_preferred.empty()) m_preferred = "4";
  } else if (m_preferred.empty() && m_default != "1" && m_default != "2" && m_default != "3") {
    m_default = "4";
  }
}

void PlainCardReader::plain(const std::string& number, bool pref) {
  trace(">handleDefault");
  if (m_office.empty() || m_office2.empty()) {
    office(number, pref);
  } else if (pref && m_preferred.empty()) {
    office(number, pref);
  } else if (!m_mobile.empty()) {
    if (m_private.empty()) home(number, pref);
  } else {
    mobile(number, pref);
  }
}

std::optional<std::string> PlainCardReader::utf8(const std::string& text) {
  trace(">data2Utf8");
  if (m_charset == Charset::Utf8) return cutUtf8(text);
  if (m_charset == Charset::Latin1) return latin1(text);
  return std::nullopt;
}

std::string PlainCardReader::cutUtf8(const std::string& text) {
  std::size_t place = 0;
  while (place < text.size()) {
    const int lead = static_cast<unsigned char>(text[place]);
    const int next = place + 1 < text.size() ? static_cast<unsigned char>(text[place + 1]) : 0;
    const bool leads = (lead >= 0xC0 && lead <= 0xDF) || (lead >= 0xE0 && lead <= 0xEF);
    const bool follows = next >= 0x80 && next <= 0xBF;
    if (lead >= 0x80 && !(leads && follows)) {
      const std::string cut = text.substr(0, place);
      error("\tl_utf8_data is not valid UTF8 string: " + cut);
      return cut;
    }
    place += lead < 0x80 ? 1 : 2;
  }
  trace("\tl_utf8_data is valid UTF8 string");
  return text;
}

std::string PlainCardReader::latin1(const std::string& text) {
  trace(">latin12Utf8");
  trace("\tutf-8 length: 0");
  std::string converted;
  for (const char c : text) {
    const int code = static_cast<unsigned char>(c);
    if (code < 0x80) {
      converted += c;
    } else if (code < 0xC0) {
      converted += {'\xC2', c};
    } else {
      converted += {'\xC3', static_cast<char>(code - 0x40)};
    }
  }
  return converted;
}

std::string PlainCardReader::element(const std::string& name, const std::string& value,
                                     const std::string& attributes, bool escape) {
  trace(">addProperty");
  if (value.empty()) return "";
  const std::map<char, std::string> entities = {
      {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'\'', "&apos;"}, {'"', "&quot;"}};
  std::string content;
  for (const char c : value) {
    const auto entity = entities.find(c);
    content += escape && entity != entities.end() ? entity->second : std::string(1, c);
  }
  const std::string separator = attributes.empty() ? "" : " ";
  return "<" + name + separator + attributes + ">" + content + "</" + name + ">";
}

std::string PlainCardReader::message() {
  trace(">getPhoneBookWriteMessage");
  std::string entry = element("Surname", m_last, "", true);
  entry += element("Firstname", m_first, "", true);
  entry += element("Office", m_office, "", true);
  entry += element("Office2", m_office2, "", true);
  entry += element("Mobile", m_mobile, "", true);
  entry += element("Private", m_private, "", true);
  entry += element("Email", m_email, "", true);
  entry += element("Address", m_address, "", true);
  entry += element("Address2", m_address2, "", true);
  entry += element("Company", m_company, "", true);
  entry += element("JobFunction", m_job, "", true);
  entry += element("DefaultNumber", m_preferred.empty() ? m_default : m_preferred, "", true);
  if (!m_extension.empty()) entry += element("Picture", photoName(), "", true);
  entry += element("Group", "0", "", false);
  const std::string request =
      element("ReasonForMessage", "write_request", "", false) + element("Entry", entry, "", false);
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>" +
         element("Schema", request, "name=\"PhoneBook\"", false);
}

void PlainCardReader::trace(const std::string& text) { write("CARD_Parser", kLogTrace, text); }

void PlainCardReader::error(const std::string& text) { write("CARD_Parser", kLogError, text); }

}  // namespace test
