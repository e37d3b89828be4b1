// A whole card, from its bytes to the entry in the phonebook.
//
// Promised: the reading ends with 1 or 0; photos go beneath the images folder, and one that can't
// be stored fails its card; a second reader makes the same message and photos; the Directory takes
// the message, or refuses it in words; what it took it gives back; what is shown of the card is
// one line of valid JSON; traces change nothing.

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "cards/Card.h"
#include "fuzz/support/Contract.h"
#include "fuzz/support/ScratchBook.h"
#include "fuzz/support/Tracing.h"
#include "host/directory/DirectoryRefusal.h"
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

/// How the card's photos fare.
enum class Keeping { kWorks, kRefuses, kMissing };

Reading read(std::string_view card, Keeping keeping) {
  test::RecordingStorage storage;
  storage.refuses = keeping == Keeping::kRefuses;
  CARD_Parser reader(keeping == Keeping::kMissing ? nullptr : &storage);
  const int result = reader.parse(reinterpret_cast<const unsigned char*>(card.data()),
                                  static_cast<int>(card.size()));
  require(result == 0 || result == 1, "reading gives 1 or 0");
  require(storage.calls == 0 || keeping == Keeping::kWorks || result == 0,
          "a photo that can't be stored fails its card");
  Reading reading{result, reader.getPhoneBookWriteMessage("utf-8"), std::move(storage.photos)};
  reader.clearBuffers();
  require(reader.getPhoneBookWriteMessage("utf-8") == reading.message,
          "the message can be had again");
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
    require(photo.path.starts_with("/data/images/photo"), "photos are named so");
    require(photo.path.find('.') != std::string::npos, "photos have an extension");
    require(!photo.bytes.empty(), "photos hold something");
  }
}

void checkShown(const cards::Card& card) {
  const std::string line = cards::jsonLine(cards::cardJson(card));
  require(nlohmann::json::accept(line), "a card is shown as valid JSON");
  const bool plain = std::all_of(line.begin(), line.end(), [](char c) {
    return static_cast<std::uint8_t>(c) >= ' ' && c != 0x7F;
  });
  require(plain, "what is shown of a card is one line and steers no terminal");
}

/// The phonebook, the tools and the reader must understand the same by a message.
void checkTaken(const host::DirectoryRequest& request, const cards::Card& card) {
  require(request.kind() == host::DirectoryRequest::Kind::Write,
          "a card's message is to be written");
  cards::Card taken;
  for (const host::ColumnValue& value : request.entry()) {
    const bool known = cards::setColumn(taken, host::columnName(value.column), value.value);
    require(known && !value.value.empty(), "a card's message holds columns with values");
  }
  require(taken == card, "phonebook and tools read the same from a message");
}

void checkStored(const std::string& message, const host::DirectoryRequest& request) {
  static ScratchBook book;
  const host::DirectoryAnswer answer = book.ask(message);
  require(answer.kind == host::DirectoryAnswer::Kind::Written, "what can be understood is stored");
  const host::DirectoryEntry entry = book.entryOf(answer.id);
  for (const host::ColumnValue& value : request.entry()) {
    require(entry.value(value.column) == value.value, "an entry is stored byte for byte");
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
    require(input.size() > (1U << 20), "the phonebook takes every card that isn't huge");
    require(*refusal.what() != '\0', "a refusal is in words");
  }
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace fuzz;  // NOLINT: it is the target's own
  constexpr std::uint64_t kTracedShare = 16;
  const std::string_view input = textOf(data, size);
  const Reading reading = read(input, Keeping::kWorks);
  require(reading == readPlainly(input, Keeping::kWorks), "both readers read the same");
  checkPhotos(reading.photos);
  checkMessage(input, reading);
  if (!reading.photos.empty()) {
    for (const Keeping keeping : {Keeping::kRefuses, Keeping::kMissing}) {
      require(read(input, keeping) == readPlainly(input, keeping),
              "both readers read the same without a place for photos");
    }
  }
  if (isSampled(input, kTracedShare)) {
    const Tracing tracing;
    require(read(input, Keeping::kWorks) == reading, "traces change nothing");
    require(tracing.lines() > input.size() / 2 || reading.result == 0 || input.size() < 2,
            "traces are written when they are wanted");
  }
  return 0;
}
