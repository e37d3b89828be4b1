#pragma once

#include "host/directory/PhoneBook.h"

namespace host {

/// What there is of a phonebook.
enum class PhoneBookState {
  kThere,
  kMissing  ///< nothing yet; it is made when it is opened
};

/// Looks at a phonebook that may be in use, and changes nothing, not even the folder that it is in.
/// Throws PhoneBookError when it can't be opened: where its file or folder can't be read, written
/// or made, it is damaged, or something else. Whether there is room for more isn't looked at.
/// Threads: any; it may take as long as the database. Not for a process that has the same file
/// open: its locks would be gone.
PhoneBookState lookAtPhoneBook(const PhoneBookOptions& options);

}  // namespace host
