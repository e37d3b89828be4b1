#pragma once

#include <giomm.h>

#include <string>

namespace host {

/// Whoever notices that a process has left the bus.
///
/// Threads: any.
class CallerWatch {
 public:
  virtual ~CallerWatch() = default;

  /// From now on, watches whether the process of this unique name is on the bus; one that has left
  /// already counts as leaving now. Watching one twice is the same as once.
  virtual void watch(const Glib::RefPtr<Gio::DBus::Connection>& connection,
                     const std::string& caller) = 0;

 protected:
  CallerWatch() = default;
  CallerWatch(const CallerWatch&) = default;
  CallerWatch& operator=(const CallerWatch&) = default;
};

}  // namespace host
