#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "host/directory/DirectoryClient.h"

namespace host {

/// A request to the phonebook, as its XML text says it. What it can say stands in
/// docs/phonebook.md.
///
/// Values are the bytes of the text with its references resolved, nothing trimmed or normalised;
/// none holds NUL, and together they have at most `kMaxEntryBytes` bytes. Each column occurs at
/// most once.
///
/// Threads: immutable, any thread.
class DirectoryRequest {
 public:
  enum class Kind { Read, Write, Update, Delete };

  /// For all values of an entry. An answer with one entry has to fit into a bus message.
  static constexpr std::size_t kMaxEntryBytes = std::size_t{8} << 20;

  /// Throws DirectoryRefusal when the text isn't a request that can be understood as a whole.
  static DirectoryRequest parse(std::string_view text);

  Kind kind() const { return m_kind; }
  /// Of a read request: what to return of each entry, in this order. Never empty there.
  const std::vector<Column>& resultColumns() const { return m_resultColumns; }
  /// Of a read request: what an entry has to equal; may hold the Id, as decimal digits. Of a write
  /// request: what to store; never holds the Id, and not all of it is empty. Of an update request:
  /// the texts to replace, at least one, empty ones included; never holds the Id. Of a delete
  /// request: nothing.
  const std::vector<ColumnValue>& entry() const { return m_entry; }
  /// Of an update or delete request: which entry; never negative. 0, which no entry has, elsewhere.
  long long id() const { return m_id; }

 private:
  DirectoryRequest(Kind kind, std::vector<Column> resultColumns, std::vector<ColumnValue> entry,
                   long long id);

  Kind m_kind;
  std::vector<Column> m_resultColumns;
  std::vector<ColumnValue> m_entry;
  long long m_id;
};

}  // namespace host
