#pragma once

#include <memory>
#include <string>

#include "framework/InvokerResponse.h"

namespace host {

/// Takes the invoker's answer to one message for the framework thread, which looks at it when the
/// invoker is done. It may outlive that; an answer then comes too late and is dropped.
///
/// Threads: the framework thread.
class CallResponse : public InvokerResponse {
 public:
  struct Answer {
    bool given = false;
    bool tooLate = false;
    std::string bytes;
  };

  CallResponse(const std::string& caller, const std::shared_ptr<Answer>& answer);

  [[nodiscard]] const std::string& getFormat() const override { return m_format; }
  [[nodiscard]] const std::string& getCallerAddress() const override { return m_caller; }
  void send(const char* data, int length) override;

 private:
  const std::string m_format;
  const std::string m_caller;
  const std::shared_ptr<Answer> m_answer;
};

}  // namespace host
