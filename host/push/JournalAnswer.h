#pragma once

#include <glib.h>

#include <vector>

#include "host/push/JournalEntry.h"

namespace host {

/// The entries for the bus, a tuple of one `aa{sv}`: "time" x, "phone", "peer", "peerName",
/// "object" s, "size" x, "link", "phonebook" s. Texts that can't be a bus text travel as `ay`. A
/// reference for the taker.
GVariant* journalAnswer(const std::vector<JournalEntry>& entries);

}  // namespace host
