#pragma once

#include <algorithm>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "framework/Logging.h"

namespace test {

struct RecordedLine {
  std::string component;
  std::string source;
  int level;
  std::string text;

  bool operator==(const RecordedLine&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const RecordedLine& line) {
  return out << line.component << '|' << line.source << '|' << line.level << '|' << line.text;
}

/// Records the log while it lives: lines up to `level`, traces included by default.
class LogRecorder : public LogSink {
 public:
  explicit LogRecorder(int level = kLogTrace) {
    setLogLevel(level);
    addLogSink(this);
  }
  ~LogRecorder() override {
    removeLogSink(this);
    setLogLevel(kLogError);
  }
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;

  void write(const LogLine& line) override {
    const std::lock_guard lock(m_mutex);
    m_lines.push_back({std::string(line.component), std::string(line.source), line.level,
                       std::string(line.text)});
  }

  std::vector<RecordedLine> lines() const {
    const std::lock_guard lock(m_mutex);
    return m_lines;
  }
  std::vector<std::string> texts() const {
    std::vector<std::string> texts;
    for (const RecordedLine& line : lines()) texts.push_back(line.text);
    return texts;
  }
  /// The texts of one level, in order.
  std::vector<std::string> texts(int level) const {
    std::vector<std::string> texts;
    for (const RecordedLine& line : lines()) {
      if (line.level == level) texts.push_back(line.text);
    }
    return texts;
  }
  /// The lines of one component, in order.
  std::vector<RecordedLine> linesOf(const std::string& component) const {
    std::vector<RecordedLine> own;
    for (const RecordedLine& line : lines()) {
      if (line.component == component) own.push_back(line);
    }
    return own;
  }
  long count(const std::string& text) const {
    const std::vector<std::string> all = texts();
    return std::count(all.begin(), all.end(), text);
  }
  bool has(const std::string& text) const { return count(text) > 0; }
  void forget() {
    const std::lock_guard lock(m_mutex);
    m_lines.clear();
  }

 private:
  mutable std::mutex m_mutex;
  std::vector<RecordedLine> m_lines;
};

}  // namespace test
