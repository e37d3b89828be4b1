// Requests to the Directory Service with a real phonebook.
//
// Contract: every request is answered with a failure whose reason quotes nothing from it, with the
// matching entries, or with the Id of the entry written, updated or deleted. A written entry reads
// back unchanged and is found by its values. An update changes exactly the given columns, a delete
// removes the entry, and neither affects other entries. A valid update or delete is refused only if
// the entry doesn't exist or would become empty, and then changes nothing.

#include <algorithm>
#include <optional>
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
  require(answer.kind == DirectoryAnswer::Kind::Read, "a read request is answered with entries");
  const auto isEmpty = [](const ColumnValue& value) { return value.value.empty(); };
  const std::vector<ColumnValue>& match = request.entry();
  const bool matchesNothing = !match.empty() && std::all_of(match.begin(), match.end(), isEmpty);
  require(!matchesNothing || answer.entries.empty(), "empty values alone match nothing");
  require(!match.empty() || answer.entries.size() == 2, "without values every entry matches");
  for (const DirectoryEntry& entry : answer.entries) {
    require(entry.values.size() == request.resultColumns().size(),
            "an entry has the requested columns");
    for (std::size_t i = 0; i < entry.values.size(); ++i) {
      require(entry.values[i].column == request.resultColumns()[i],
              "columns are in the requested order");
    }
    for (const ColumnValue& wanted : match) {
      const bool asked = std::count(request.resultColumns().begin(), request.resultColumns().end(),
                                    wanted.column) > 0;
      const bool id = wanted.column == Column::Id;
      require(!asked || id || entry.value(wanted.column) == wanted.value,
              "an entry has the values searched for");
    }
  }
}

void checkWritten(ScratchBook& book, const DirectoryAnswer& answer,
                  const DirectoryRequest& request) {
  require(answer.kind == DirectoryAnswer::Kind::Written, "a valid request is stored");
  const DirectoryEntry entry = book.entryOf(answer.id);
  std::size_t given = 0;
  for (const ColumnValue& value : request.entry()) {
    require(entry.value(value.column) == value.value, "an entry is stored unchanged");
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

/// Applies an update or delete to a plain list. Returns false if it must be refused.
bool change(Entries& entries, const DirectoryRequest& request) {
  const auto found = std::find_if(entries.begin(), entries.end(), [&](const DirectoryEntry& entry) {
    return entry.value(Column::Id) == std::to_string(request.id());
  });
  if (found == entries.end()) return false;
  if (request.kind() == DirectoryRequest::Kind::Delete) {
    entries.erase(found);
    return true;
  }
  bool left = false;
  for (ColumnValue& value : found->values) {
    for (const ColumnValue& text : request.entry()) {
      if (text.column == value.column) value.value = text.value;
    }
    left = left || (value.column != Column::Id && !value.value.empty());
  }
  return left;
}

void checkChanged(const DirectoryAnswer& answer, const DirectoryRequest& request, Entries before,
                  const Entries& after) {
  Entries expected = before;
  if (!change(expected, request)) {
    require(answer.kind == DirectoryAnswer::Kind::Failure, "an impossible change is refused");
    require(areEqual(before, after), "a refused change changes nothing");
    return;
  }
  const bool deletes = request.kind() == DirectoryRequest::Kind::Delete;
  require(
      answer.kind == (deletes ? DirectoryAnswer::Kind::Deleted : DirectoryAnswer::Kind::Updated),
      "a possible change is made");
  require(answer.id == std::to_string(request.id()), "a change is answered with the entry's Id");
  require(areEqual(expected, after), "a change affects exactly one entry");
}

void checkUnderstood(ScratchBook& book, const std::string& text, const DirectoryRequest& request) {
  if (request.kind() == DirectoryRequest::Kind::Read) {
    checkRead(book.ask(text), request);
    return;
  }
  if (request.kind() == DirectoryRequest::Kind::Write) {
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
    require(answer.kind == DirectoryAnswer::Kind::Failure && answer.reason == refusal.what(),
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
