#include "framework/Threadable.h"

#include "ThreadRecord.h"

using framework_detail::ThreadRegistry;

Threadable::Threadable() = default;

Threadable::~Threadable() { waitForThreadCompletion(); }

int Threadable::getThreadPriorityForPlatform() { return 0; }

int Threadable::type() { return 0; }

void Threadable::waitForThreadCompletion() {
  ThreadRegistry& registry = ThreadRegistry::instance();
  // Once it has the record, this function leaves the object alone: another waiter may return first
  // and delete it.
  registry.joinAndForget(registry.read(m_record));
}
