#pragma once

#include <stdexcept>
#include <string>

namespace host {

/// The phonebook can't be opened, read or written; `what()` is the reason, a sentence for the user
/// that names the phonebook and says what to do. It never holds a value of an entry.
class PhoneBookError : public std::runtime_error {
 public:
  enum class Kind {
    Busy,    ///< someone else has it locked: the same may work a moment later
    Full,    ///< no room: reading still works
    Broken,  ///< the connection is of no use any more: open it anew
    Lost     ///< the same, and nothing of the call was done: it may be tried anew at once
  };

  PhoneBookError(Kind kind, const std::string& sentence)
      : std::runtime_error(sentence), m_kind(kind) {}

  Kind kind() const { return m_kind; }

 private:
  Kind m_kind;
};

}  // namespace host
