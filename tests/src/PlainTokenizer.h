#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/src/HandlerCall.h"
#include "tests/support/LogRecorder.h"

namespace test {

/// A plain reimplementation of CARDCAL_Parser for the differential test: slow, obvious, and without
/// shared code. Each state has one function, each rule one line.
class PlainTokenizer {
 public:
  virtual ~PlainTokenizer() = default;

  bool parse(std::string_view bytes);

  /// Keeps log lines from now on, one for each character.
  void keepLog() { m_keepsLog = true; }
  const std::vector<RecordedLine>& log() const { return m_log; }

 protected:
  virtual bool onGroup(const std::string& group) = 0;
  virtual bool onProperty(const std::string& name,
                          const std::vector<PropertyParameter>& parameters) = 0;
  virtual bool onData(const std::string& data) = 0;
  virtual bool onEnd() = 0;

  void write(const std::string& source, int level, const std::string& text);

 private:
  enum class State { PropName, ParamBN, ParamIN, ParamBV, ParamIV, PropData };
  enum class Encoding { None, QuotedPrintable, Base64, EightBit };

  /// In place of a name: the end of the list, also when the line is evaluated again.
  static constexpr std::size_t kListEnd = 0;

  /// Offsets into the line; each text ends at the next zero byte.
  struct Place {
    std::size_t name = kListEnd;
    std::size_t value = 0;  ///< 0: none
  };

  bool atLineStart(char c);
  bool inLine(char c);
  bool process(char c);
  bool propName(char c);
  bool paramBN(char c);
  bool paramIN(char c);
  bool paramBV(char c);
  bool paramIV(char c);
  bool propData(char c);
  bool quotedPrintable(char c);
  bool base64(char c);
  bool base64Quartet();
  bool endOfData();

  bool propertyEnd();
  void readEncoding();
  std::vector<PropertyParameter> parameters() const;
  PropertyParameter parameterAt(const Place& place) const;
  std::string textAt(std::size_t place) const;
  bool reset();
  bool fail();
  bool append(char c);
  bool appendEscaped(char c);
  bool append(char c, State next);
  void trace(const std::string& text);

  bool m_atLineStart = true;
  bool m_foldSeen = false;
  std::string m_line;
  State m_state = State::PropName;
  bool m_startOfData = true;
  std::vector<Place> m_places;
  bool m_escapeSeen = false;
  Encoding m_encoding = Encoding::None;
  bool m_qpEscape = false;
  std::string m_pending;
  bool m_keepsLog = false;
  std::vector<RecordedLine> m_log;
};

}  // namespace test
