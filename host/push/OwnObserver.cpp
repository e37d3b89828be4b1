#include "host/push/OwnObserver.h"

#include <exception>

#include "host/loader/HostLog.h"

namespace host {

bool OwnObserver::send(const Method& method) {
  try {
    if (method.getName() == cardmessage::kOffered) m_ledger.offered();
    if (method.getName() == cardmessage::kError) m_ledger.unreadable();
    return true;
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("the journal does not know of a card: %s", error.what());
    return false;
  }
}

}  // namespace host
