#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "host/directory/DirectoryClient.h"

namespace host {

/// A request is refused because of what it says or asks for. `what()` is the reason, a sentence for
/// the user that contains nothing of the request.
class DirectoryRefusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A parsed request to the phonebook; docs/phonebook.md describes the XML.
///
/// Values are the bytes of the text with its references resolved, nothing trimmed or normalised. No
/// value contains NUL, and no column occurs twice.
///
/// Threads: immutable, any thread.
class DirectoryRequest {
 public:
  enum class Kind { kRead, kWrite, kUpdate, kDelete };

  /// The largest accepted card (4 MiB) may consist of quotation marks, of six bytes each in XML.
  static constexpr std::size_t kMaxBytes = std::size_t{32} << 20;
  /// For all values of an entry. An answer with one entry has to fit into a bus message.
  static constexpr std::size_t kMaxEntryBytes = std::size_t{8} << 20;

  /// Throws DirectoryRefusal unless the whole text is a valid request.
  static DirectoryRequest parse(std::string_view text);

  Kind kind() const { return m_kind; }
  /// Read: the columns to return, in this order; never empty. Otherwise empty.
  const std::vector<Column>& resultColumns() const { return m_resultColumns; }
  /// Read: the values that an entry has to equal; the Id, if given, as decimal digits.
  /// Write: the values to store; no Id, at least one value isn't empty.
  /// Update: the values to replace, at least one; no Id, values may be empty.
  /// Delete: empty.
  const std::vector<ColumnValue>& entry() const { return m_entry; }
  /// Update and delete: the entry's Id, never negative. Otherwise 0, which no entry has.
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
