// Requests to the Directory Service, with a real phonebook behind it.
//
// Contract: the answer is a failure with a reason that contains nothing of the request, the
// matching entries, or the Id of the entry that was written, updated or deleted. A written entry is
// read back byte for byte and found by its values; an update changes the given texts only; a
// deleted entry is gone; other entries don't change. A valid request is refused only if it names a
// missing entry or would leave one empty, and changes nothing then.

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/support/Contract.h"
#include "fuzz/support/ScratchBook.h"
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
  require(answer.kind == DirectoryAnswer::Kind::kRead, "a read is answered with entries");
  const auto isEmpty = [](const ColumnValue& value) { return value.value.empty(); };
  const std::vector<ColumnValue>& match = request.entry();
  const bool matchesNothing = !match.empty() && std::all_of(match.begin(), match.end(), isEmpty);
  require(!matchesNothing || answer.entries.empty(), "empty values alone match nothing");
  require(!match.empty() || answer.entries.size() == 2, "without values every entry matches");
  for (const DirectoryEntry& entry : answer.entries) {
    require(entry.values.size() == request.resultColumns().size(),
            "an entry has every requested column");
    for (std::size_t i = 0; i < entry.values.size(); ++i) {
      require(entry.values[i].column == request.resultColumns()[i],
              "columns have the requested order");
    }
    for (const ColumnValue& wanted : match) {
      const bool asked = std::count(request.resultColumns().begin(), request.resultColumns().end(),
                                    wanted.column) > 0;
      const bool id = wanted.column == Column::kId;
      require(!asked || id || entry.value(wanted.column) == wanted.value,
              "a returned entry matches");
    }
  }
}

void checkWritten(ScratchBook& book, const DirectoryAnswer& answer,
                  const DirectoryRequest& request) {
  require(answer.kind == DirectoryAnswer::Kind::kWritten, "a valid write is stored");
  const DirectoryEntry entry = book.entryOf(answer.id);
  std::size_t given = 0;
  for (const ColumnValue& value : request.entry()) {
    require(entry.value(value.column) == value.value, "an entry is stored byte for byte");
    if (!value.value.empty()) ++given;
  }
  const auto holds = [](const ColumnValue& value) {
    return value.column != Column::kId && !value.value.empty();
  };
  require(std::count_if(entry.values.begin(), entry.values.end(), holds) ==
              static_cast<std::ptrdiff_t>(given),
          "nothing else is stored");
  const DirectoryAnswer found =
      book.ask(DirectoryClient::matchRequest({Column::kId}, request.entry()));
  const bool there = std::any_of(
      found.entries.begin(), found.entries.end(),
      [&](const DirectoryEntry& match) { return match.value(Column::kId) == answer.id; });
  require(there, "an entry is found by its values");
}

using Entries = std::vector<DirectoryEntry>;

bool areEqual(const DirectoryEntry& left, const DirectoryEntry& right) {
  return std::equal(left.values.begin(), left.values.end(), right.values.begin(),
                    right.values.end(), [](const ColumnValue& a, const ColumnValue& b) {
                      return a.column == b.column && a.value == b.value;
                    });
}

bool areEqual(const Entries& left, const Entries& right) {
  return std::equal(
      left.begin(), left.end(), right.begin(), right.end(),
      [](const DirectoryEntry& a, const DirectoryEntry& b) { return areEqual(a, b); });
}

/// Applies a change to a list. Returns false when it must be refused.
bool change(Entries& entries, const DirectoryRequest& request) {
  const auto found = std::find_if(entries.begin(), entries.end(), [&](const DirectoryEntry& entry) {
    return entry.value(Column::kId) == std::to_string(request.id());
  });
  if (found == entries.end()) return false;
  if (request.kind() == DirectoryRequest::Kind::kDelete) {
    entries.erase(found);
    return true;
  }
  bool left = false;
  for (ColumnValue& value : found->values) {
    for (const ColumnValue& text : request.entry()) {
      if (text.column == value.column) value.value = text.value;
    }
    left = left || (value.column != Column::kId && !value.value.empty());
  }
  return left;
}

void checkChanged(const DirectoryAnswer& answer, const DirectoryRequest& request, Entries before,
                  const Entries& after) {
  Entries expected = before;
  if (!change(expected, request)) {
    require(answer.kind == DirectoryAnswer::Kind::kFailure, "an impossible change is refused");
    require(areEqual(before, after), "a refused change changes nothing");
    return;
  }
  const bool deletes = request.kind() == DirectoryRequest::Kind::kDelete;
  require(
      answer.kind == (deletes ? DirectoryAnswer::Kind::kDeleted : DirectoryAnswer::Kind::kUpdated),
      "a valid change is carried out");
  require(answer.id == std::to_string(request.id()), "a change is answered with the entry's Id");
  require(areEqual(expected, after), "a change is exact and affects one entry only");
}

void checkUnderstood(ScratchBook& book, const std::string& text, const DirectoryRequest& request) {
  if (request.kind() == DirectoryRequest::Kind::kRead) {
    checkRead(book.ask(text), request);
    return;
  }
  if (request.kind() == DirectoryRequest::Kind::kWrite) {
    checkWritten(book, book.ask(text), request);
  } else {
    const Entries before = book.entries();
    const DirectoryAnswer answer = book.ask(text);
    checkChanged(answer, request, before, book.entries());
  }
  book.renew();
}

void check(ScratchBook& book, const std::string& text) {
  std::optional<DirectoryRequest> request;
  try {
    request.emplace(DirectoryRequest::parse(text));
  } catch (const host::DirectoryRefusal& refusal) {
    const DirectoryAnswer answer = book.ask(text);
    require(answer.kind == DirectoryAnswer::Kind::kFailure && answer.reason == refusal.what(),
            "an invalid request is refused with the reason");
    return;
  }
  checkUnderstood(book, text, *request);
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fuzz;  // NOLINT: it is the target's own
  static ScratchBook book;
  check(book, std::string(textOf(data, size)));
  return 0;
}
