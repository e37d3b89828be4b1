#include "fuzz/support/Tracing.h"

#include "fuzz/support/Contract.h"

namespace fuzz {

Tracing::Tracing() {
  addLogSink(this);
  setLogLevel(kLogTrace);
}

Tracing::~Tracing() {
  setLogLevel(kLogError);
  removeLogSink(this);
}

void Tracing::write(const LogLine& line) {
  require(!line.component.empty() && !line.source.empty(), "a log line says where it comes from");
  require(line.level == kLogError || line.level == kLogTrace, "a log line has a level in use");
  ++m_lines;
}

}  // namespace fuzz
