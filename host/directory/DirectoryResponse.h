#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/directory/DirectoryClient.h"

namespace host {

/// The answer to a request, as XML. An object collects the entries of the answer to a read request;
/// static functions make the other answers.
///
/// The telephone takes the element Entry for a match and the word "failure" for a refusal. So no
/// other element is called Entry, and answers to writes, updates and deletions contain nothing of
/// the request but the Id.
///
/// Threads: one at a time.
class DirectoryResponse {
 public:
  /// An array of a D-Bus message is limited to 64 MiB. One entry always fits.
  static constexpr std::size_t kMaxBytes = std::size_t{60} << 20;
  static constexpr const char* kTooLarge =
      "The answer would be larger than 60 MiB. Ask for fewer columns, or for one entry by its Id.";

  /// The request was not carried out; `reason` is a sentence for the user.
  static std::string failure(std::string_view reason);
  static std::string written(long long id);
  static std::string updated(long long id);
  static std::string deleted(long long id);

  /// `columns`: those of each entry.
  explicit DirectoryResponse(std::vector<Column> columns);
  /// Appends an entry: one value for each column, in their order. Throws DirectoryRefusal when the
  /// answer exceeds `kMaxBytes`.
  void add(const std::vector<std::string>& values);
  /// Returns the whole answer and leaves the object empty.
  std::string finish();

 private:
  const std::vector<Column> m_columns;
  std::string m_text;
};

}  // namespace host
