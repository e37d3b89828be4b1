#include "host/bus/CallResponse.h"

#include "framework/JsonMessageSerializer.h"
#include "host/loader/HostLog.h"

namespace host {

CallResponse::CallResponse(const std::string& caller, const std::shared_ptr<Answer>& answer)
    : m_format(JsonMessageSerializer::formatName()), m_caller(caller), m_answer(answer) {}

void CallResponse::send(const char* data, int length) {
  if (m_answer->given || m_answer->tooLate) {
    HOST_LOG_ERROR("an answer to %s was dropped: %s", m_caller.c_str(),
                   m_answer->given ? "it has one already" : "the message is done with");
    return;
  }
  if (data == nullptr || length < 0) return;
  m_answer->bytes.assign(data, static_cast<std::size_t>(length));
  m_answer->given = true;
}

}  // namespace host
