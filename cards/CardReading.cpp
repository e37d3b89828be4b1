#include "cards/CardReading.h"

#include "cards/DiscardedPictures.h"
#include "cards/ReadingTrace.h"
#include "src/CARD_Parser.h"

namespace contacts {

namespace {

std::optional<std::string> messageOf(const std::string& text, OBEXStorage& pictures) {
  CARD_Parser parser(&pictures);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  if (parser.parse(bytes, static_cast<int>(text.size())) != 1) return std::nullopt;
  return parser.getPhoneBookWriteMessage("utf-8");
}

// Read once more with traces, of which there is one for each byte, to see where it ends.
std::string closerReason(const std::string& text) {
  const ReadingTrace trace;
  DiscardedPictures discarded;
  setLogLevel(kLogTrace);
  messageOf(text, discarded);
  setLogLevel(kLogError);
  return trace.reason();
}

}  // namespace

CardReading readCard(const std::string& text, OBEXStorage& pictures) {
  CardReading reading;
  const ReadingTrace trace;
  reading.message = messageOf(text, pictures);
  reading.cutTexts = trace.cutTexts();
  if (!reading.message) {
    reading.reason = trace.pictureRefusal().empty() ? closerReason(text) : trace.reason();
  }
  return reading;
}

}  // namespace contacts
