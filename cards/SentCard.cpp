#include "cards/SentCard.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "cards/SafeText.h"
#include "src/CARD_Creator.h"

namespace contacts {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr const char* kImagesFolder = "/data/images/";
/// Of a picture the builder takes so many bytes.
constexpr std::uintmax_t kMaxPicture = 102400;

bool isLarge(const std::string& picture) {
  const bool whole = picture.find(kImagesFolder) != std::string::npos;
  std::error_code error;
  const std::uintmax_t size =
      std::filesystem::file_size(whole ? picture : kImagesFolder + picture, error);
  return !error && size > kMaxPicture;
}

}  // namespace

SentCard sentCard(const Contact& contact) {
  SentCard card;
  card.text = CARD_Creator().createVCard(contact);
  if (contact.picture.empty()) return card;
  Contact plain = contact;
  plain.picture.clear();
  card.pictureMissing = CARD_Creator().createVCard(plain) == card.text;
  card.pictureCut = !card.pictureMissing && isLarge(contact.picture);
  return card;
}

std::string safeCardLines(const std::string& card) {
  std::string safe;
  for (std::size_t at = 0; at < card.size();) {
    const std::size_t end = std::min(card.find(kLineEnd, at), card.size());
    safe.append(cards::safeText(std::string_view(card).substr(at, end - at))).append(kLineEnd);
    at = end + kLineEnd.size();
  }
  return safe;
}

}  // namespace contacts
