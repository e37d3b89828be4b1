// A card, from its bytes to the phonebook entry.
//
// Contract: `parse` returns 1 or 0, and 0 if a photo can't be stored; photos are stored in the
// images folder; a second reader produces the same message and photos; the Directory Service
// stores the message and returns it unchanged, or refuses a huge one with a reason; the card's JSON
// is valid and has no control characters; tracing changes nothing.

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "cards/Card.h"
#include "fuzz/support/Contract.h"
#include "fuzz/support/ScratchBook.h"
#include "fuzz/support/Tracing.h"
#include "host/directory/DirectoryRequest.h"
#include "src/CARD_Parser.h"
#include "tests/src/PlainCardReader.h"
#include "tests/src/RecordingStorage.h"

namespace fuzz {
namespace {

using Photos = std::vector<test::StoredPhoto>;

struct Reading {
  int result;
  std::string message;
  Photos photos;
  bool operator==(const Reading&) const = default;
};

/// How the storage treats photos; kMissing: there is none.
enum class Keeping { kWorks, kRefuses, kMissing };

Reading read(std::string_view card, Keeping keeping) {
  test::RecordingStorage storage;
  storage.refuses = keeping == Keeping::kRefuses;
  CARD_Parser reader(keeping == Keeping::kMissing ? nullptr : &storage);
  const int result = reader.parse(reinterpret_cast<const unsigned char*>(card.data()),
                                  static_cast<int>(card.size()));
  require(result == 0 || result == 1, "parse returns 1 or 0");
  require(storage.calls == 0 || keeping == Keeping::kWorks || result == 0,
          "a photo that can't be stored fails its card");
  Reading reading{result, reader.getPhoneBookWriteMessage("utf-8"), std::move(storage.photos)};
  reader.clearBuffers();
  require(reader.getPhoneBookWriteMessage("utf-8") == reading.message,
          "the message can be built again");
  return reading;
}

Reading readPlainly(std::string_view card, Keeping keeping) {
  test::PlainCardReader reader;
  if (keeping == Keeping::kRefuses) reader.withRefusingStorage();
  if (keeping == Keeping::kMissing) reader.withoutStorage();
  const int result = reader.parse(card) ? 1 : 0;
  return {result, reader.message(), reader.photos()};
}

void checkPhotos(const Photos& photos) {
  for (const test::StoredPhoto& photo : photos) {
    require(photo.path.starts_with("/data/images/photo"),
            "a photo's path begins with /data/images/photo");
    require(photo.path.find('.') != std::string::npos, "a photo has an extension");
    require(!photo.bytes.empty(), "a photo is not empty");
  }
}

void checkShown(const cards::Card& card) {
  const std::string line = cards::jsonLine(cards::cardJson(card));
  require(nlohmann::json::accept(line), "a card's JSON is valid");
  const bool plain = std::all_of(line.begin(), line.end(), [](char c) {
    return static_cast<std::uint8_t>(c) >= ' ' && c != 0x7F;
  });
  require(plain, "a card's JSON has no control characters");
}

/// Phonebook and tools must read the same entry from a message.
void checkTaken(const host::DirectoryRequest& request, const cards::Card& card) {
  require(request.kind() == host::DirectoryRequest::Kind::kWrite,
          "a card's message is a write request");
  cards::Card taken;
  for (const host::ColumnValue& value : request.entry()) {
    require(!value.value.empty(), "a card's message holds columns with values");
    taken.*cards::cardColumn(value.column).value = value.value;
  }
  require(taken == card, "phonebook and tools read the same from a message");
}

void checkStored(const std::string& message, const host::DirectoryRequest& request) {
  static ScratchBook book;
  const host::DirectoryAnswer answer = book.ask(message);
  require(answer.kind == host::DirectoryAnswer::Kind::kWritten, "a valid request is stored");
  const host::DirectoryEntry entry = book.entryOf(answer.id);
  for (const host::ColumnValue& value : request.entry()) {
    require(entry.value(value.column) == value.value, "an entry is stored unchanged");
  }
  book.renew();
}

void checkMessage(std::string_view input, const Reading& reading) {
  constexpr std::uint64_t kStoredShare = 64;
  const cards::Card card = cards::cardFromMessage(reading.message);
  checkShown(card);
  try {
    const auto request = host::DirectoryRequest::parse(reading.message);
    checkTaken(request, card);
    if (isSampled(input, kStoredShare)) checkStored(reading.message, request);
  } catch (const host::DirectoryRefusal& refusal) {
    require(input.size() > (1U << 20), "the phonebook accepts every card that isn't huge");
    require(*refusal.what() != '\0', "a refusal has a reason");
  }
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fuzz;  // NOLINT: it is the target's own
  constexpr std::uint64_t kTracedShare = 16;
  const std::string_view input = textOf(data, size);
  const Reading reading = read(input, Keeping::kWorks);
  require(reading == readPlainly(input, Keeping::kWorks), "both readers agree");
  checkPhotos(reading.photos);
  checkMessage(input, reading);
  if (!reading.photos.empty()) {
    for (const Keeping keeping : {Keeping::kRefuses, Keeping::kMissing}) {
      require(read(input, keeping) == readPlainly(input, keeping),
              "both readers agree when photos can't be stored");
    }
  }
  if (isSampled(input, kTracedShare)) {
    const Tracing tracing;
    require(read(input, Keeping::kWorks) == reading, "tracing changes nothing");
    require(tracing.lines() > input.size() / 2 || reading.result == 0 || input.size() < 2,
            "traces are logged at the trace level");
  }
  return 0;
}
