#include "tools/phonectl/StopSignals.h"

#include <glib-unix.h>

namespace phonectl {

StopSignals::StopSignals() : m_sources{{this, SIGINT, 0}, {this, SIGTERM, 0}, {this, SIGHUP, 0}} {
  for (Source& source : m_sources) source.id = g_unix_signal_add(source.signal, onSignal, &source);
}

StopSignals::~StopSignals() {
  for (const Source& source : m_sources) {
    if (source.id != 0) g_source_remove(source.id);
  }
}

int StopSignals::onSignal(void* data) {
  auto* const source = static_cast<Source*>(data);
  if (source->owner->m_caught == 0) source->owner->m_caught = source->signal;
  source->id = 0;
  return G_SOURCE_REMOVE;
}

}  // namespace phonectl
