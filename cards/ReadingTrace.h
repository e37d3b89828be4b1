#pragma once

#include <string>
#include <string_view>

#include "framework/Logging.h"

namespace contacts {

/// Follows what the reader of cards logs, and so knows what it stumbled over. Registered as a sink
/// while it lives; the reasons other than those about pictures need trace lines.
///
/// Threads: one.
class ReadingTrace : public LogSink {
 public:
  ReadingTrace();
  ~ReadingTrace() override;
  ReadingTrace(const ReadingTrace&) = delete;
  ReadingTrace& operator=(const ReadingTrace&) = delete;

  void write(const LogLine& line) override;

  /// Why a picture was not stored; empty when none was refused.
  [[nodiscard]] const std::string& pictureRefusal() const { return m_pictureRefusal; }
  /// How many texts were cut because the phone can't keep them whole.
  [[nodiscard]] int cutTexts() const { return m_cutTexts; }
  /// The likely reason why the card can't be read: a sentence without its full stop, safe to show.
  [[nodiscard]] std::string reason() const;

 private:
  void writeReader(std::string_view text);
  [[nodiscard]] std::string property() const;

  std::string m_pictureRefusal;
  int m_cutTexts = 0;
  std::string m_property;  ///< the one that was read last
  bool m_noBegin = false;
  bool m_badBase64 = false;
  int m_charset = 0;
  int m_character = 0;  ///< the one that was read last
  int m_state = 0;      ///< and the reader's state at that moment
};

}  // namespace contacts
