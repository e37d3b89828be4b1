#include "host/push/PushTaps.h"

#include <exception>

#include "framework/Method.h"
#include "host/directory/DirectoryClient.h"
#include "host/loader/HostLog.h"

namespace host {
namespace {

bool holds(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string writeOutcome(const std::string& answer) {
  if (!holds(answer, "failure")) return "stored";
  return kNotStored + DirectoryClient::parseAnswer(answer).reason;
}

}  // namespace

std::string DirectoryTap::handleRequest(const std::string& request) {
  const std::string answer = m_directory.handleRequest(request);
  try {
    // Unambiguous: values in a request are escaped.
    if (holds(request, "<ReasonForMessage>read_request<"))
      m_tracker.looked(holds(answer, "<Entry>") ? "there already" : "");
    else if (holds(request, "<ReasonForMessage>write_request<"))
      m_tracker.added(writeOutcome(answer));
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("can't track what became of a card: %s", error.what());
  }
  return answer;
}

bool OwnObserver::send(const Method& method) {
  try {
    if (method.getName() == cardmessage::kOffered) m_tracker.offered();
    if (method.getName() == cardmessage::kError) m_tracker.unreadable();
    return true;
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("can't track an offered card: %s", error.what());
    return false;
  }
}

}  // namespace host
