#pragma once

#include <soci/soci.h>

#include "host/directory/PhoneBookBackend.h"

namespace host {

/// The tables of a phonebook, as a whole, in a database that is open.
///
/// Errors are PhoneBookError and soci::soci_error.
///
/// Threads: as the session, which has to outlive the object, as has the backend.
class Schema {
 public:
  Schema(soci::session& session, const PhoneBookBackend& backend)
      : m_session(session), m_backend(backend) {}

  /// Whether they are there. Refuses a database that holds something else.
  bool exist();
  /// Makes them, unless someone else has just done so.
  void create();
  /// Refuses tables that this program doesn't know.
  void checkVersion();

 private:
  soci::session& m_session;
  const PhoneBookBackend& m_backend;
};

}  // namespace host
