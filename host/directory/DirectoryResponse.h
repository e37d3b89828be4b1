#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/directory/DirectoryClient.h"

namespace host {

/// The answer to a request, an XML text. An object collects the entries of one answer to a read
/// request; the other answers are made at once.
///
/// None but an entry's own element is called Entry, and the word "failure" stands in no answer that
/// isn't one, values of entries apart.
///
/// Threads: one object serves one thread.
class DirectoryResponse {
 public:
  /// A bus message holds at most 64 MiB of bytes. One entry always fits.
  static constexpr std::size_t kMaxBytes = std::size_t{60} << 20;
  static constexpr const char* kTooLarge =
      "The answer would be larger than 60 MiB. Ask for fewer columns, or for one entry by its Id.";

  /// The request was not carried out, for this reason, a sentence for the user.
  static std::string failure(std::string_view reason);
  /// An entry was written and got this Id.
  static std::string written(long long id);
  /// The entry of this Id was changed.
  static std::string updated(long long id);
  /// The entry of this Id was deleted.
  static std::string deleted(long long id);

  /// The columns that each entry has.
  explicit DirectoryResponse(std::vector<Column> columns);
  /// Appends an entry: one value for each column, in that order. Throws DirectoryRefusal when the
  /// answer would be larger than `kMaxBytes`.
  void add(const std::vector<std::string>& values);
  /// The whole answer; the object is empty afterwards.
  std::string finish();

 private:
  const std::vector<Column> m_columns;
  std::string m_text;
};

}  // namespace host
