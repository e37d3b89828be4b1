#include "framework/Threader.h"

#include <exception>

#include "ThreadRecord.h"
#include "framework/Threadable.h"

using framework_detail::ThreadRecord;
using framework_detail::ThreadRegistry;

bool Threader::spawn(unsigned long& id, Threadable* threadable, const std::string& name,
                     GPALThreadPriority priority, int options) {
  static_cast<void>(priority);
  static_cast<void>(options);
  if (threadable == nullptr) return false;
  ThreadRegistry& registry = ThreadRegistry::instance();
  std::shared_ptr<ThreadRecord> record;
  std::shared_ptr<ThreadRecord> former;
  try {
    record = registry.add(threadable->m_record, former);
  } catch (const std::exception&) {
    return false;  // no memory for a record
  }
  if (!record) return false;
  // A former thread has left the object, but its last steps may still have to be waited for.
  registry.joinAndForget(former);
  if (!record->start(record, *threadable, name)) {
    registry.forget(record->id);
    return false;
  }
  id = record->id;
  return true;
}

void Threader::destroy(unsigned long id) {
  ThreadRegistry& registry = ThreadRegistry::instance();
  registry.joinAndForget(registry.find(id));
}
