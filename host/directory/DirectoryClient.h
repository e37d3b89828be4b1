#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "cards/Card.h"

namespace host {

using cards::Column;
using cards::ColumnValue;
using cards::kAllColumns;

/// The reason of a failed update or deletion of a missing entry.
inline constexpr const char* kUnknownId = "The phonebook has no entry of that Id.";

/// An entry of an answer: the requested columns, in the requested order.
struct DirectoryEntry {
  std::vector<ColumnValue> values;

  /// The value of a column; empty if the column wasn't requested.
  std::string_view value(Column column) const;
};

/// A parsed answer of the phonebook.
struct DirectoryAnswer {
  enum class Kind { kFailure, kRead, kWritten, kUpdated, kDeleted };
  Kind kind = Kind::kFailure;
  std::string reason;                   ///< Failure: a sentence for the user
  std::vector<DirectoryEntry> entries;  ///< Read: the matching entries
  std::string id;                       ///< Written, Updated, Deleted: the entry's Id
};

/// Builds requests to the phonebook and parses its answers. Sending them is up to the caller.
///
/// Threads: stateless, any thread.
class DirectoryClient {
 public:
  /// Reads these columns of every entry.
  static std::string listRequest(const std::vector<Column>& columns);
  /// Reads these columns of the entries whose values equal all those in `match`. An empty value
  /// matches an empty column; if all values are empty, nothing matches.
  static std::string matchRequest(const std::vector<Column>& columns,
                                  const std::vector<ColumnValue>& match);
  /// Adds an entry.
  static std::string writeRequest(const std::vector<ColumnValue>& entry);
  /// Replaces these texts, at least one, of the entry with this Id and keeps the others.
  static std::string updateRequest(const std::string& id, const std::vector<ColumnValue>& texts);
  /// Deletes the entry with this Id.
  static std::string deleteRequest(const std::string& id);

  /// Throws std::runtime_error with a sentence for the user when the text isn't an answer.
  static DirectoryAnswer parseAnswer(std::string_view text);
};

}  // namespace host
