#pragma once

#include <gio/gio.h>

#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace test {

/// A stand-in for BlueZ on a bus, whose objects, refusals and delays a test controls. Prints a line
/// for each call.
///
/// Threads: `command` is called by one thread; calls are answered on GIO's thread.
class StandInBluez {
 public:
  /// Takes the name org.bluez. Throws std::runtime_error if that fails.
  explicit StandInBluez(const std::string& address);
  ~StandInBluez();
  StandInBluez(const StandInBluez&) = delete;
  StandInBluez& operator=(const StandInBluez&) = delete;

  /// One of
  ///     add PATH INTERFACE PROPERTIES       PROPERTIES are an a{sv} in GLib's text format
  ///     remove PATH INTERFACE
  ///     change PATH INTERFACE PROPERTIES
  ///     fail METHOD ERROR                   every call from now on
  ///     refuse PROPERTY ERROR TIMES TEXT    the next TIMES attempts to set it
  ///     hold METHOD                         queues calls without answering
  ///     work METHOD                         ends fail and hold; answers the queued calls
  ///     release                             calls Release of the registered profile
  /// Returns false for anything else.
  bool command(const std::string& line);

 private:
  using Properties = std::map<std::string, GVariant*>;
  using Object = std::map<std::string, Properties>;

  struct Refusal {
    std::string error;
    std::string text;
    int times;
  };

  static GDBusMessage* filter(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                              gpointer self);
  void serve(GDBusMessage* call);
  void carryOut(GDBusMessage* call);
  void fail(GDBusMessage* call, const std::string& error, const std::string& text);
  bool refuses(GDBusMessage* call);
  GVariant* answer(const std::string& path, const std::string& method, GVariant* body);
  void send(GDBusMessage* message);
  void signal(const std::string& path, const char* interface, const char* member, GVariant* body);

  GVariant* managedObjects();
  static GVariant* dictionary(const Properties& properties);
  void store(const std::string& path, const std::string& interface, const std::string& text);
  void set(const std::string& path, const std::string& interface, const std::string& property,
           GVariant* value);
  void offerObjectPush(bool offered);
  void add(const std::string& path, const std::string& interface, const std::string& properties);
  void remove(const std::string& path, const std::string& interface);
  void change(const std::string& path, const std::string& interface, const std::string& properties);
  void work(const std::string& method);
  void refuse(const std::string& property, const std::string& error, const std::string& rest);
  void release();

  GDBusConnection* m_connection;
  std::recursive_mutex m_mutex;
  // Guarded by m_mutex:
  std::map<std::string, Object> m_objects;
  std::map<std::string, std::string> m_failing;
  std::map<std::string, Refusal> m_refusing;  ///< by property
  std::set<std::string> m_holding;
  std::deque<GDBusMessage*> m_held;
  std::string m_profileOwner;
  std::string m_profilePath;
};

}  // namespace test
