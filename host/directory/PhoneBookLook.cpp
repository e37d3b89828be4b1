#include "host/directory/PhoneBookLook.h"

#include "host/directory/Schema.h"

namespace host {

PhoneBookState lookAtPhoneBook(const PhoneBookOptions& options) {
  const auto backend = PhoneBookBackend::create(options.connection, options.serverTimeout);
  try {
    soci::session session;
    if (!backend->connectToLook(session)) return PhoneBookState::kMissing;
    const auto watch = backend->watch(session);
    Schema tables(session, *backend);
    if (!tables.exist()) return PhoneBookState::kMissing;
    tables.checkVersion();
    return PhoneBookState::kThere;
  } catch (const soci::soci_error& error) {
    throw backend->explain(error);
  }
}

}  // namespace host
