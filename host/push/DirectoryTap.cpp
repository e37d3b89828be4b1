#include "host/push/DirectoryTap.h"

#include <exception>

#include "host/directory/DirectoryClient.h"
#include "host/loader/HostLog.h"

namespace host {
namespace {

bool holds(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string writeOutcome(const std::string& answer) {
  if (!holds(answer, "failure")) return "stored";
  return "not stored: " + DirectoryClient::parseAnswer(answer).reason;
}

}  // namespace

std::string DirectoryTap::handleRequest(const std::string& request) {
  const std::string answer = m_directory.handleRequest(request);
  try {
    // The kind of a request stands before the values, which are escaped.
    if (holds(request, "<ReasonForMessage>read_request<"))
      m_ledger.looked(holds(answer, "<Entry>") ? "there already" : "");
    else if (holds(request, "<ReasonForMessage>write_request<"))
      m_ledger.added(writeOutcome(answer));
  } catch (const std::exception& error) {
    HOST_LOG_ERROR("the journal won't know what became of a card: %s", error.what());
  }
  return answer;
}

}  // namespace host
