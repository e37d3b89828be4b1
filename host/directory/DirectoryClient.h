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

/// Why an entry can't be changed or deleted that isn't there.
inline constexpr const char* kUnknownId = "The phonebook has no entry of that Id.";

/// An entry as an answer gave it: the columns that were asked for, in that order.
struct DirectoryEntry {
  std::vector<ColumnValue> values;

  /// The value of a column, empty when it wasn't asked for.
  std::string_view value(Column column) const;
};

/// What the phonebook answered.
struct DirectoryAnswer {
  enum class Kind { Failure, Read, Written, Updated, Deleted };
  Kind kind = Kind::Failure;
  std::string reason;                   ///< of a failure: a sentence for the user
  std::vector<DirectoryEntry> entries;  ///< of a read request
  std::string id;                       ///< of the other requests: the entry's Id
};

/// The requests and answers of the phonebook, for programs that ask it. How the texts travel is
/// their own affair.
///
/// Threads: stateless, any thread.
class DirectoryClient {
 public:
  /// Asks for these columns of every entry.
  static std::string listRequest(const std::vector<Column>& columns);
  /// Asks for these columns of the entries whose values equal all those of `match`. An empty value
  /// means that the column is empty; when all are, nothing matches.
  static std::string matchRequest(const std::vector<Column>& columns,
                                  const std::vector<ColumnValue>& match);
  /// Asks for a new entry.
  static std::string writeRequest(const std::vector<ColumnValue>& entry);
  /// Asks to replace these texts, at least one, of the entry of this Id; the others stay.
  static std::string updateRequest(const std::string& id, const std::vector<ColumnValue>& texts);
  /// Asks to delete the entry of this Id.
  static std::string deleteRequest(const std::string& id);

  /// Reads an answer. Throws std::runtime_error with a sentence for the user when the text is none.
  static DirectoryAnswer parseAnswer(std::string_view text);
};

}  // namespace host
