// Requests to the Directory Service, with a real phonebook behind it.
//
// Promised: every request is answered with a failure in a sentence that holds nothing of it, with
// the entries that match, or with the Id of a new one; such an entry reads back byte for byte, and
// is found by its values.

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/support/Contract.h"
#include "fuzz/support/ScratchBook.h"
#include "host/directory/DirectoryRefusal.h"
#include "host/directory/DirectoryRequest.h"

namespace fuzz {
namespace {

using host::Column;
using host::ColumnValue;
using host::DirectoryAnswer;
using host::DirectoryClient;
using host::DirectoryEntry;
using host::DirectoryRequest;

void checkRead(const DirectoryAnswer& answer, const DirectoryRequest& request) {
  require(answer.kind == DirectoryAnswer::Kind::Read, "a request to read is answered with entries");
  const auto isEmpty = [](const ColumnValue& value) { return value.value.empty(); };
  const std::vector<ColumnValue>& match = request.entry();
  const bool matchesNothing = !match.empty() && std::all_of(match.begin(), match.end(), isEmpty);
  require(!matchesNothing || answer.entries.empty(), "empty values alone match nothing");
  require(!match.empty() || answer.entries.size() == 2, "without values everything matches");
  for (const DirectoryEntry& entry : answer.entries) {
    require(entry.values.size() == request.resultColumns().size(),
            "an entry has every column that was asked for");
    for (std::size_t i = 0; i < entry.values.size(); ++i) {
      require(entry.values[i].column == request.resultColumns()[i], "columns come in their order");
    }
    for (const ColumnValue& wanted : match) {
      const bool asked = std::count(request.resultColumns().begin(), request.resultColumns().end(),
                                    wanted.column) > 0;
      const bool id = wanted.column == Column::Id;
      require(!asked || id || entry.value(wanted.column) == wanted.value, "an entry matches");
    }
  }
}

void checkWritten(ScratchBook& book, const DirectoryAnswer& answer,
                  const DirectoryRequest& request) {
  require(answer.kind == DirectoryAnswer::Kind::Written, "what can be understood is stored");
  const DirectoryEntry entry = book.entryOf(answer.id);
  std::size_t given = 0;
  for (const ColumnValue& value : request.entry()) {
    require(entry.value(value.column) == value.value, "an entry is stored byte for byte");
    if (!value.value.empty()) ++given;
  }
  const auto holds = [](const ColumnValue& value) {
    return value.column != Column::Id && !value.value.empty();
  };
  require(std::count_if(entry.values.begin(), entry.values.end(), holds) ==
              static_cast<std::ptrdiff_t>(given),
          "nothing else is stored");
  const DirectoryAnswer found =
      book.ask(DirectoryClient::matchRequest({Column::Id}, request.entry()));
  const bool there = std::any_of(
      found.entries.begin(), found.entries.end(),
      [&](const DirectoryEntry& match) { return match.value(Column::Id) == answer.id; });
  require(there, "an entry is found by its values");
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fuzz;  // NOLINT: it is the target's own
  static ScratchBook book;
  const std::string text(textOf(data, size));
  const DirectoryAnswer answer = book.ask(text);
  try {
    const DirectoryRequest request = DirectoryRequest::parse(text);
    if (request.kind() == DirectoryRequest::Kind::Read) {
      checkRead(answer, request);
    } else {
      checkWritten(book, answer, request);
      book.renew();
    }
  } catch (const host::DirectoryRefusal& refusal) {
    require(answer.kind == DirectoryAnswer::Kind::Failure && answer.reason == refusal.what(),
            "what can't be understood is refused, with the reason");
  }
  return 0;
}
