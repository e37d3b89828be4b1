#include "tools/cardtool/PictureFolder.h"

#include <filesystem>
#include <limits>
#include <system_error>

#include "cards/SafeText.h"
#include "framework/Storage.h"
#include "tools/cardtool/Failure.h"

namespace cardtool {

namespace {

/// How the reader of cards names the folder of pictures.
constexpr std::string_view kPhoneFolder = "/data/images/";

std::string wholePath(const std::string& folder) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::canonical(folder, error);
  if (!error && std::filesystem::is_directory(whole, error)) return whole.string();
  throw Failure(kNoInput, "--photos " + cards::safeText(folder) +
                              ": there is no such folder. Make it first, for instance with mkdir");
}

// The folder is the user's own: how much is in it already is none of our affair.
Storage::Limits limits() {
  Storage::Limits limits;
  limits.files = std::numeric_limits<std::uint64_t>::max();
  limits.bytes = std::numeric_limits<std::uint64_t>::max();
  return limits;
}

}  // namespace

PictureFolder::PictureFolder(const std::string& folder) : m_folder(wholePath(folder)) {}

int PictureFolder::writeFile(const char* data, int size, const std::string& path) {
  if (!path.starts_with(kPhoneFolder)) return 0;
  const std::string own = m_folder + "/" + path.substr(kPhoneFolder.size());
  Storage storage(m_folder, limits());
  const bool written = storage.init(own.c_str(), std::ios_base::in | std::ios_base::binary,
                                    std::ios_base::out | std::ios_base::binary) &&
                       // The gate only reads what it is given.
                       storage.store(nullptr, const_cast<char*>(data), size);
  storage.shutdown();
  if (written) m_written.push_back(own);
  return written ? 1 : 0;
}

}  // namespace cardtool
