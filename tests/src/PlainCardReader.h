#pragma once

#include <string>
#include <vector>

#include "tests/src/PlainTokenizer.h"
#include "tests/src/RecordingStorage.h"

namespace test {

/// A plain reimplementation of CARD_Parser for the differential test. Its log has no exit traces.
class PlainCardReader : public PlainTokenizer {
 public:
  std::string message();
  const std::vector<StoredPhoto>& photos() const { return m_photos; }

  /// From now on: no storage, or one that refuses.
  void withoutStorage() { m_storage = Storage::None; }
  void withRefusingStorage() { m_storage = Storage::Refusing; }

 protected:
  bool onGroup(const std::string& group) override;
  bool onProperty(const std::string& name,
                  const std::vector<PropertyParameter>& parameters) override;
  bool onData(const std::string& data) override;
  bool onEnd() override;

 private:
  enum class Storage { Working, Refusing, None };
  enum class Kind { None, Begin, End, Version, N, FN, Tel, Email, Title, Org, Adr, Photo };
  enum class Charset { None, Unknown, Utf8, Latin1, Latin2 };
  struct Phone {
    bool voice = false;
    bool work = false;
    bool home = false;
    bool cell = false;
    bool pref = false;
    bool unsupported = false;
  };
  using Parameters = std::vector<PropertyParameter>;

  Kind kindOf(const std::string& name, const Parameters& parameters) const;
  void firstLevel(const std::string& name, const Parameters& parameters);
  Phone phoneKind(const Parameters& parameters);
  Charset charset(const Parameters& parameters);
  std::string photoExtension(const Parameters& parameters);
  std::string photoName();

  bool property(const std::string& text, const std::string& data);
  bool name(const std::string& text);
  void telephone(const std::string& number);
  bool field(std::string& field, const std::string& what, const std::string& text);
  bool address(const std::string& text);
  bool photo(const std::string& data);
  std::string token(const std::string& text, int index);

  void office(const std::string& number, bool pref);
  void home(const std::string& number, bool pref);
  void mobile(const std::string& number, bool pref);
  void plain(const std::string& number, bool pref);

  std::optional<std::string> utf8(const std::string& text);
  std::string cutUtf8(const std::string& text);
  std::string latin1(const std::string& text);
  std::string element(const std::string& name, const std::string& value,
                      const std::string& attributes, bool escape);

  void trace(const std::string& text);
  void error(const std::string& text);

  int m_depth = 0;
  Kind m_kind = Kind::None;
  Charset m_charset = Charset::None;
  Phone m_phone;
  std::string m_default;
  std::string m_preferred;
  std::string m_extension;
  std::string m_first;
  std::string m_last;
  std::string m_office;
  std::string m_office2;
  std::string m_mobile;
  std::string m_private;
  std::string m_email;
  std::string m_address;
  std::string m_address2;
  std::string m_company;
  std::string m_job;
  Storage m_storage = Storage::Working;
  std::vector<StoredPhoto> m_photos;
};

}  // namespace test
