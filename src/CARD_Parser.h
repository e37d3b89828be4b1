#pragma once

#include <cstdlib>
#include <memory>
#include <string>

#include "CARDCAL_Parser.h"
#include "OBEXStorage.h"

class XmlWriter;

/// The character set of a text property. 0 is none: it was not determined.
enum t_cardparser_charset {
  CHARSET_NONE = 0,
  CHARSET_UNKNOWN = 1,  ///< a CHARSET that isn't known
  CHARSET_UTF8 = 2,
  CHARSET_ISO_8859_1 = 3,  ///< also where there is no CHARSET
  CHARSET_ISO_8859_2 = 4,  ///< known, but not converted
};

/// Checks a zero-terminated text for UTF-8 of one and two bytes a character. At the first byte that
/// is neither, longer sequences included, the text is cut with a zero byte and the result is 0;
/// otherwise it is 1.
int validateUTF8String(unsigned char* s);

/// Reads one received card into one phonebook entry: `parse` it, then take
/// `getPhoneBookWriteMessage`. Fields keep their first value; a body of several cards merges into
/// one entry. A photo is written to the storage while the card is read.
///
/// Threads: one object belongs to one thread. The storage is not owned and may be null, which fails
/// a card with a photo. Operations return 1 for success and 0 for failure; `parse` returns 0 for
/// text before BEGIN:VCARD, a BEGIN of anything else, a text in a character set that can't be
/// converted, a photo that can't be stored, and broken BASE64.
class CARD_Parser : public CARDCAL_Parser {
 public:
  // What kind of telephone number it is, by the parameters of TEL.
  static constexpr int PHONE_VOICE = 1;
  static constexpr int PHONE_WORK = 2;
  static constexpr int PHONE_HOME = 4;
  static constexpr int PHONE_CELL = 8;
  static constexpr int PHONE_PREF = 16;
  static constexpr int PHONE_UNSUPPORTED = 32;

  explicit CARD_Parser(OBEXStorage* storage);
  ~CARD_Parser() override;

  /// The message that asks the phonebook to write this entry, an XML text that names `encoding` as
  /// its encoding and is UTF-8. Valid until the next call or the end of the object.
  const std::string& getPhoneBookWriteMessage(const std::string& encoding);
  /// Empties the message.
  void clearBuffers();

  int propHandler(const char* name, const char** params) override;
  int dataHandler(const char* data, int len) override;
  int groupHandler(const char* group) override;

  // The steps of the above. `params` is the list that `propHandler` gets.

  int propertyHandler1Level(const char* name, const char** params);
  int getPhoneKind(const char** params);
  t_cardparser_charset getCharset(const char** params);
  /// The file extension for the TYPE of a photo, empty when it isn't known.
  std::string getPhotoExt(const char** params);
  /// "photo", surname and first name (or else the company), ".", extension.
  std::string getPhotoFilename();
  /// The `index`th part (from 1) of a zero-terminated text that `separator` divides; an empty part
  /// is passed over once.
  std::string getToken(const unsigned char* data, int index, char separator);

  void handleOffice(std::string number, bool pref);
  void handlePrivate(std::string number, bool pref);
  void handleMobile(std::string number, bool pref);
  /// A number that is neither of work, home nor cell.
  void handleDefault(std::string number, bool pref);

  /// Converts a zero-terminated text to UTF-8. The result is the caller's to `free`; null when it
  /// can't be converted.
  char* data2Utf8(const char* data, t_cardparser_charset charset);
  /// Converts ISO-8859-1 up to the first zero byte. `outLen`, where given, gets the length of the
  /// result, which is the caller's to `free`; null when there is no memory.
  unsigned char* latin12Utf8(const unsigned char* data, int len, int* outLen);
  /// Writes one character as UTF-8 into `buf` of `size` bytes, or only measures it where that is
  /// null. Returns its length, -1 for what is no character or doesn't fit.
  int unicodeChar2Utf8(unsigned int codePoint, unsigned char* buf, int size);

  /// An XML element, empty for an empty value. A value longer than `maxLength` bytes (0: no limit)
  /// is cut and ends in
  /// "..."; with `escape` the five special characters are replaced by their entities.
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
  std::string
      m_defaultNumber;  ///< slot digit: "1" office, "2" second office, "3" mobile, "4" private
  std::string m_preferredNumber;  ///< slot digit of the number marked PREF
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
