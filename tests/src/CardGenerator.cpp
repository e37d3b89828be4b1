#include "tests/src/CardGenerator.h"

#include <cctype>
#include <string_view>

namespace test {

std::string CardGenerator::card() {
  m_lineEnd = pick({"\n", "\n", "\r\n", "\r\n", "\r"});
  std::string card = chance(10) ? soup() : wholeCard();
  if (chance(15)) card += chance(50) ? wholeCard() : soup();
  if (chance(40)) damage(card);
  return card;
}

std::string CardGenerator::pick(std::initializer_list<const char*> choices) {
  return choices.begin()[below(choices.size())];
}

std::string CardGenerator::wholeCard() {
  std::string card;
  if (!chance(3)) card += nameOf("BEGIN") + (chance(2) ? ":VCALENDAR" : ":VCARD") + lineEnd();
  const std::size_t properties = below(12);
  for (std::size_t i = 0; i < properties; ++i) card += property() + lineEnd();
  if (!chance(10)) card += nameOf("END") + ":VCARD" + (chance(80) ? lineEnd() : "");
  return card;
}

std::string CardGenerator::property() {
  const std::size_t kind = below(100);
  if (kind < 40) return textProperty();
  if (kind < 70) return telephone();
  if (kind < 82) return photo();
  return strangeLine();
}

std::string CardGenerator::textProperty() {
  std::string line = nameOf(pick({"N", "N", "FN", "EMAIL", "TITLE", "ORG", "ADR", "ADR"}));
  const std::string encoding = chance(30)   ? "QUOTED-PRINTABLE"
                               : chance(15) ? "BASE64"
                                            : pick({"", "8BIT", "7BIT"});
  if (chance(20)) line += parameter();
  if (chance(45)) line += charsetParameter();
  if (!encoding.empty()) line += pick({";", ";ENCODING=", ";encoding="}) + encoding;
  if (chance(10)) line += parameter();
  return line + ":" + encodedData(encoding, text());
}

std::string CardGenerator::telephone() {
  std::string line = nameOf("TEL");
  const std::size_t parameters = below(4);
  for (std::size_t i = 0; i < parameters; ++i) {
    line += ";" + nameOf(pick({"WORK", "HOME", "CELL", "PREF", "VOICE", "FAX", "MSG", "PAGE", "BBS",
                               "MODEM", "CAR", "ISDN", "VIDEO", "TYPE=WORK", "X-OTHER"}));
  }
  line += ":" + pick({"", " ", "\t"});
  return line + pick({"+49 30 ", "0", "112 & ", "<>", ""}) + std::to_string(below(1000));
}

std::string CardGenerator::photo() {
  std::string line = nameOf("PHOTO");
  if (chance(90)) {
    line += ";TYPE=" + nameOf(pick({"GIF", "CGM", "WMF", "BMP", "MET", "PMB", "DIB", "PICT", "TIFF",
                                    "PS", "PDF", "JPEG", "MPEG", "MPEG2", "AVI", "QTIME", "PNG"}));
  }
  if (chance(20)) line += pick({";JPEG", ";TYPE", ";TYPE=GIF", ";VALUE=URL"});
  line += pick({";ENCODING=BASE64:", ";BASE64:", ";encoding=base64:", ":"});
  line += folded(base64(bytes(chance(10) ? below(3000) : below(80))));
  if (chance(70)) line += lineEnd();
  return line;
}

std::string CardGenerator::strangeLine() {
  switch (below(8)) {
    case 0:
      return nameOf("VERSION") + ":" + pick({"2.1", "3.0", ""});
    case 1:
      return nameOf(pick({"NOTE", "X-A", "BDAY", ""})) + parameter() + ":" + text();
    case 2:
      return pick({"no colon here", "", " ", "\t", ";", ":", ".:", "N;", "N;A", "N;A=", "..N:a"});
    case 3:
      return nameOf("BEGIN") + ":" + pick({"VCARD", "vCard", "", "VCARD ", "VTODO"});
    case 4:
      return nameOf("END") + parameter() + ":" + pick({"VCARD", "", "VTODO"});
    case 5:  // characters for a refused value
      return nameOf("TEL") + parameter() + ":" + text() + ":" + parameter() + ":" + text();
    case 6:
      return nameOf("N") + ";A=" + pick({"\\;", "\\\\", "\\a;b", "\\", " x y "}) + ":" + text();
    default:
      return lineEnd();
  }
}

std::string CardGenerator::soup() {
  std::string soup = chance(50) ? "BEGIN:VCARD\n" : "";
  const std::size_t pieces = below(60);
  for (std::size_t i = 0; i < pieces; ++i) {
    soup += chance(60) ? std::string(1, interestingByte())
                       : pick({"N", "TEL", "BEGIN", "VCARD", "ENCODING", "BASE64", "PHOTO", "=41",
                               "QUOTED-PRINTABLE", "QUJD", "CHARSET", "UTF-8", "\n", "=\n"});
  }
  return soup;
}

/// The name in mixed case, sometimes with a group.
std::string CardGenerator::nameOf(std::string name) {
  if (chance(15)) {
    for (char& c : name) {
      if (chance(50)) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  if (chance(6)) name = pick({"A", "item1", "", "a.b", "BEGIN"}) + "." + name;
  return name;
}

std::string CardGenerator::parameter() {
  return pick({";WORK", ";INTERNET", ";A=b", ";A=b\\;c", ";LANGUAGE=de", ";TYPE=\\\\x", ";X = y",
               ";A=b;B=c", ";LONGER-THAN-OTHERS=and with a longer value too", "", ";;", ";A=b=c"});
}

std::string CardGenerator::charsetParameter() {
  return pick({";CHARSET=", ";charset="}) +
         pick({"UTF-8", "utf-8", "UTF-8", "ISO-8859-1", "iso-8859-1", "ISO-8859-2", "KOI8-R"});
}

std::string CardGenerator::text() {
  std::string text;
  const std::size_t pieces = below(5);
  for (std::size_t i = 0; i < pieces; ++i) {
    text += pick({"Doe", "John", ";", ";", "O'Neil", "A&B<C>", "\"q\"", "&amp;", " ", "a.b@c.de",
                  "Str\xC3\xA4"
                  "e",
                  "\xE9t\xE9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80", "=", ":", "\\;"});
  }
  if (chance(4)) text += std::string(below(2500), 'x');
  return text;
}

std::string CardGenerator::encodedData(const std::string& encoding, const std::string& data) {
  if (encoding == "QUOTED-PRINTABLE") return quotedPrintable(data);
  if (encoding == "BASE64") return folded(base64(data)) + (chance(60) ? lineEnd() : "");
  return folded(data);
}

std::string CardGenerator::quotedPrintable(const std::string& text) {
  constexpr std::string_view kDigits = "0123456789ABCDEFabcdef";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80 && c != '=' && !chance(10)) {
      encoded += c;
    } else {
      encoded += '=';
      encoded += kDigits[byte >> 4];
      encoded += kDigits[byte & 15];
    }
    if (chance(4)) encoded += "=" + lineEnd() + pick({"", "", " ", "\n"});
    if (chance(1)) encoded += pick({"=", "=4", "=G1", "=1G", "= 4", "=-1", "=+A", "=0x", "=\t5"});
  }
  return encoded;
}

std::string CardGenerator::base64(const std::string& bytes) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string encoded;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t j = i; j < i + 3; ++j) {
      group = group << 8 | (j < bytes.size() ? static_cast<unsigned char>(bytes[j]) : 0U);
    }
    for (int shift = 18; shift >= 0; shift -= 6) encoded += kAlphabet[group >> shift & 63];
  }
  const std::size_t missing = (3 - bytes.size() % 3) % 3;
  encoded.resize(encoded.size() - missing);
  if (chance(70)) encoded.append(missing, '=');
  if (chance(3)) encoded += pick({"Q", "=", "QQ=Q", "*", " Q Q = ="});
  return encoded;
}

/// Folds the line in random places.
std::string CardGenerator::folded(const std::string& data) {
  std::string folded;
  for (const char c : data) {
    if (chance(2)) folded += lineEnd() + pick({" ", "\t", "  "});
    folded += c;
  }
  return folded;
}

std::string CardGenerator::bytes(std::size_t count) {
  std::string bytes;
  for (std::size_t i = 0; i < count; ++i) bytes += static_cast<char>(below(256));
  return bytes;
}

std::string CardGenerator::lineEnd() {
  return chance(94) ? m_lineEnd : pick({"\n", "\r\n", "\r", "\n\n", "\r\n\r\n", "\n ", "\n\n\n"});
}

void CardGenerator::damage(std::string& card) {
  for (std::size_t wounds = 1 + below(6); wounds > 0 && !card.empty(); --wounds) {
    const std::size_t place = below(card.size());
    switch (below(5)) {
      case 0:
        card[place] = interestingByte();
        break;
      case 1:
        card.insert(place, 1, interestingByte());
        break;
      case 2:
        card.erase(place, 1 + below(4));
        break;
      case 3:
        card.insert(below(card.size()), card.substr(place, below(40)));
        break;
      default:
        card.insert(place, bytes(1));
    }
  }
}

char CardGenerator::interestingByte() {
  constexpr std::string_view kBytes{":;=.\\\r\n\t \v\f\0Q4a\x80\xC3\xE9\xFF", 19};
  return kBytes[below(kBytes.size())];
}

}  // namespace test
