#include "cards/CardReader.h"

#include <strings.h>

#include <array>
#include <limits>

#include "cards/SafeText.h"
#include "src/CARD_Parser.h"

namespace cards {

namespace {

/// A text property with a column in the phonebook, and how many of its values the phone keeps.
struct KeptText {
  const char* property;
  int values;
};

constexpr std::array<KeptText, 5> kKeptTexts = {
    {{"N", std::numeric_limits<int>::max()}, {"ADR", 2}, {"EMAIL", 1}, {"ORG", 1}, {"TITLE", 1}}};

/// The phone's reader, which also records what it stumbles over.
class DiagnosingReader : public CARD_Parser {
 public:
  using CARD_Parser::CARD_Parser;

  int propHandler(const char* name, const char** params) override;
  int dataHandler(const char* data, int len) override;

  /// Why parse() failed.
  [[nodiscard]] std::string error() const;
  [[nodiscard]] int truncatedTexts() const { return m_truncatedTexts; }

 private:
  [[nodiscard]] bool is(const char* name) const {
    return ::strcasecmp(m_property.c_str(), name) == 0;
  }
  [[nodiscard]] bool isTruncated(const char* data);

  std::string m_property;  ///< the latest property
  bool m_inData = false;   ///< its data has begun and not ended
  bool m_outside = false;  ///< a property was outside of BEGIN and END
  bool m_dataRefused = false;
  bool m_utf8 = false;                            ///< the latest property is declared as UTF-8
  bool m_ignored = false;                         ///< the phone ignores the latest property
  std::array<int, kKeptTexts.size()> m_values{};  ///< seen so far
  int m_depth = 0;                                ///< open BEGINs; nested cards are ignored
  int m_truncatedTexts = 0;
};

int DiagnosingReader::propHandler(const char* name, const char** params) {
  m_property = name;
  const int result = CARD_Parser::propHandler(name, params);
  if (result == 0) m_outside = true;
  m_inData = result != 0;
  m_utf8 = getCharset(params) == CHARSET_UTF8;
  if (is("BEGIN")) m_depth += 1;
  if (is("END")) m_depth -= 1;
  const bool otherMail =
      is("EMAIL") && params[0] != nullptr && ::strcasecmp(params[0], "INTERNET") != 0;
  m_ignored = otherMail || m_depth != 1;
  return result;
}

int DiagnosingReader::dataHandler(const char* data, int len) {
  if (data == nullptr) {
    m_inData = false;
  } else if (isTruncated(data)) {
    m_truncatedTexts += 1;
  }
  const int result = CARD_Parser::dataHandler(data, len);
  if (result == 0) m_dataRefused = true;
  return result;
}

bool DiagnosingReader::isTruncated(const char* data) {
  for (std::size_t i = 0; i < kKeptTexts.size(); ++i) {
    if (m_ignored || !is(kKeptTexts[i].property)) continue;
    if (m_values[i]++ >= kKeptTexts[i].values || !m_utf8) return false;
    std::string copy = data;
    return validateUTF8String(reinterpret_cast<unsigned char*>(copy.data())) == 0;
  }
  return false;
}

std::string DiagnosingReader::error() const {
  const std::string property =
      m_property.empty() ? "a property without a name" : "property " + safeText(m_property, 60);
  if (m_dataRefused) {
    if (is("BEGIN")) return "it is not a vCard: it begins another kind of object";
    if (is("PHOTO"))
      return "its picture can't be stored (invalid name, or the folder is not writable or is full)";
    return property + " has an unsupported character set (supported: UTF-8, ISO-8859-1)";
  }
  // While it decodes data, the reader refuses nothing but BASE64.
  if (m_inData) return property + " has invalid BASE64 data";
  if (m_outside) return property + " is outside of BEGIN:VCARD and END:VCARD";
  // Between properties, an empty parameter is what ends the reading.
  return m_property.empty() ? "its first property has an empty parameter"
                            : "the property after " + property + " has an empty parameter";
}

// No limit on files and bytes: the folder is the user's own.
Storage::Limits unlimited() {
  Storage::Limits limits;
  limits.files = std::numeric_limits<std::uint64_t>::max();
  limits.bytes = std::numeric_limits<std::uint64_t>::max();
  return limits;
}

}  // namespace

PictureFolder::PictureFolder() : m_folder(Storage::defaultRoot()) {}

PictureFolder::PictureFolder(const std::string& folder) : m_folder(folder), m_limits(unlimited()) {}

int PictureFolder::writeFile(const char* data, int size, const std::string& path) {
  const std::string root = Storage::defaultRoot();
  if (!path.starts_with(root + "/")) return 0;
  const std::string target = m_folder + path.substr(root.size());
  Storage storage(m_folder, m_limits);
  const bool written = storage.init(target.c_str(), std::ios_base::in | std::ios_base::binary,
                                    std::ios_base::out | std::ios_base::binary) &&
                       // store() doesn't modify the data.
                       storage.store(nullptr, const_cast<char*>(data), size);
  storage.shutdown();
  if (written) m_written.push_back(target);
  return written ? 1 : 0;
}

CardReading readCard(const std::string& text, OBEXStorage& pictures) {
  DiagnosingReader reader(&pictures);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  CardReading reading;
  if (reader.parse(bytes, static_cast<int>(text.size())) == 1) {
    reading.message = reader.getPhoneBookWriteMessage("utf-8");
  } else {
    reading.error = reader.error();
  }
  reading.truncatedTexts = reader.truncatedTexts();
  return reading;
}

}  // namespace cards
