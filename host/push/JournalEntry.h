#pragma once

#include <cstdint>
#include <string>

namespace host {

/// What became of one push. All texts are as they came and not safe to show. A plain value.
struct JournalEntry {
  long long number = 0;   ///< within this run of the telephone, from 1
  std::string phone;      ///< which telephone's it is, "user@host"; where it was read only
  std::int64_t time = 0;  ///< when it was heard of, in milliseconds since 1970
  std::string peer;       ///< the device's address, empty when it was gone already
  std::string peerName;
  std::string object;  ///< its name, empty for none
  long long size = 0;  ///< of its body, in bytes
  std::string link;    ///< what the link saw: "taken", "refused: ...", "broken off: ..."
  /// What the phonebook saw: "waiting", "stored", "there already", "not stored: ...", ...; empty
  /// where nothing came so far.
  std::string book;

  bool operator==(const JournalEntry&) const = default;
};

/// Of an entry whose card waits for an answer.
inline constexpr const char* kBookWaiting = "waiting";
/// Of one that the telephone ended before.
inline constexpr const char* kBookLost = "lost: the phone ended before there was an answer";

}  // namespace host
