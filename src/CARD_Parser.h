#pragma once

#include <cstdlib>
#include <memory>
#include <string>

#include "CARDCAL_Parser.h"
#include "OBEXStorage.h"

class XmlWriter;

/// Character set of a text property.
enum t_cardparser_charset {
  CHARSET_NONE = 0,     ///< not determined
  CHARSET_UNKNOWN = 1,  ///< unknown CHARSET
  CHARSET_UTF8 = 2,
  CHARSET_ISO_8859_1 = 3,  ///< default without CHARSET
  CHARSET_ISO_8859_2 = 4,  ///< recognized, but not converted
};

/// Checks that a zero-terminated text is UTF-8 with at most two bytes per character. Returns 1; at
/// the first other byte, longer sequences included, cuts the text with a zero byte and returns 0.
int validateUTF8String(unsigned char* s);

/// Converts a received card to a phonebook entry: call `parse`, then `getPhoneBookWriteMessage`. A
/// field keeps its first value; several cards in one body are merged into one entry. Photos are
/// written to the storage during `parse`.
///
/// Operations return 1 for success and 0 for failure. `parse` fails on a property before
/// BEGIN:VCARD, a BEGIN of anything else, text in a character set that can't be converted, a photo
/// that can't be stored, and invalid BASE64.
///
/// Not thread-safe. The storage is not owned; with a null storage, a card with a photo fails.
class CARD_Parser : public CARDCAL_Parser {
 public:
  // Kinds of telephone numbers, from the parameters of TEL.
  static constexpr int PHONE_VOICE = 1;
  static constexpr int PHONE_WORK = 2;
  static constexpr int PHONE_HOME = 4;
  static constexpr int PHONE_CELL = 8;
  static constexpr int PHONE_PREF = 16;
  static constexpr int PHONE_UNSUPPORTED = 32;

  explicit CARD_Parser(OBEXStorage* storage);
  ~CARD_Parser() override;

  /// Returns the XML request that writes the entry to the phonebook. The text is always UTF-8;
  /// `encoding` is only the name in the XML declaration. Valid until the next call.
  const std::string& getPhoneBookWriteMessage(const std::string& encoding);
  /// Clears the message.
  void clearBuffers();

  int propHandler(const char* name, const char** params) override;
  int dataHandler(const char* data, int len) override;
  int groupHandler(const char* group) override;

  // Steps of the above. `params` is the list passed to `propHandler`.

  int propertyHandler1Level(const char* name, const char** params);
  int getPhoneKind(const char** params);
  t_cardparser_charset getCharset(const char** params);
  /// File extension for the photo's TYPE, empty if it is unknown.
  std::string getPhotoExt(const char** params);
  /// "photo", surname and first name (the company if both are empty), ".", extension.
  std::string getPhotoFilename();
  /// The `index`th field (from 1) of a zero-terminated text. If a field after the first is empty,
  /// the next one is returned.
  std::string getToken(const unsigned char* data, int index, char separator);

  void handleOffice(std::string number, bool pref);
  void handlePrivate(std::string number, bool pref);
  void handleMobile(std::string number, bool pref);
  /// Stores a number that is not marked WORK, HOME or CELL.
  void handleDefault(std::string number, bool pref);

  /// Converts a zero-terminated text to UTF-8. Returns null if the character set can't be
  /// converted; otherwise the caller frees the result with `free`.
  char* data2Utf8(const char* data, t_cardparser_charset charset);
  /// Converts a zero-terminated ISO-8859-1 text to UTF-8; `len` is ignored. Stores the new length
  /// in `outLen` unless null. Returns null without memory; otherwise the caller frees the result.
  unsigned char* latin12Utf8(const unsigned char* data, int len, int* outLen);
  /// Writes a character as UTF-8 to `buf` of `size` bytes; with a null `buf`, only measures it.
  /// Returns its length, -1 if it is no character or doesn't fit.
  int unicodeChar2Utf8(unsigned int codePoint, unsigned char* buf, int size);

  /// Returns an XML element, or an empty text if the value is empty. Cuts a value longer than
  /// `maxLength` bytes (0: no limit) and ends it in "..."; `escape` replaces & < > ' " by entities.
  std::string addProperty(std::string name, std::string value, std::string attributes,
                          unsigned int maxLength, bool escape);

 private:
  struct FreeText {
    void operator()(char* text) const { std::free(text); }
  };
  using Utf8Copy = std::unique_ptr<char, FreeText>;

  int readProperty(int kind, const char** params);
  int handleProperty(const char* data, int len);
  int handleName(const char* data);
  int handleTelephone(const char* data);
  int handleText(const char* data, std::string& field, const char* log);
  int handlePhoto(const char* data, int len);
  const char* toUtf8(const char* data, Utf8Copy& copy);
  char* copyUtf8(const char* data);
  void addEntry(XmlWriter& xml);

  std::string m_message;
  int m_vcardDepth = 0;
  int m_propertyKind = 0;
  t_cardparser_charset m_charset = CHARSET_NONE;
  int m_phoneKind = PHONE_VOICE;
  // Digits: "1" office, "2" second office, "3" mobile, "4" private.
  std::string m_defaultNumber;
  std::string m_preferredNumber;  ///< number marked PREF
  std::string m_photoExt;
  std::string m_firstname;
  std::string m_surname;
  std::string m_office;
  std::string m_office2;
  std::string m_mobile;
  std::string m_private;
  std::string m_email;
  std::string m_address;
  std::string m_address2;
  std::string m_company;
  std::string m_jobFunction;
  OBEXStorage* m_storage;
};
