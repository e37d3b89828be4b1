#include "bench/support/Folder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace bench {

namespace {

// `CARD_Parser::parse` takes the size as an int.
constexpr std::uintmax_t kMaxSize = 1U << 30;

std::vector<std::string> filesOf(const std::string& folder, const std::string& suffix) {
  std::error_code error;
  std::filesystem::directory_iterator entries(folder, error);
  std::vector<std::string> paths;
  for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
    const std::filesystem::path& path = entries->path();
    std::error_code unknown;
    if (!path.native().ends_with(suffix) || std::filesystem::is_directory(path, unknown)) continue;
    paths.push_back(path.native());
  }
  if (error) throw std::runtime_error(folder + ": can't read: " + error.message());
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::string readFile(const std::string& path) {
  std::error_code error;
  const bool regular = std::filesystem::is_regular_file(path, error);
  if (error) throw std::runtime_error(path + ": can't read: " + error.message());
  if (!regular) throw std::runtime_error(path + ": not a regular file");
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (!error && size > kMaxSize) throw std::runtime_error(path + ": larger than 1 GiB");
  std::ifstream file(path, std::ios::binary);
  std::string content(error ? 0 : static_cast<std::size_t>(size), '\0');
  file.read(content.data(), static_cast<std::streamsize>(content.size()));
  if (error || !file) throw std::runtime_error(path + ": can't read");
  return content;
}

}  // namespace

std::vector<File> readFolder(const std::string& folder, const std::string& suffix) {
  const std::vector<std::string> paths = filesOf(folder, suffix);
  if (paths.empty()) throw std::runtime_error(folder + ": no " + suffix + " file");
  std::vector<File> files;
  for (const std::string& path : paths) files.push_back({path, readFile(path)});
  return files;
}

std::vector<cards::Contact> readRecords(const std::string& folder) {
  std::vector<cards::Contact> records;
  for (const File& file : readFolder(folder, ".json")) {
    try {
      records.push_back(cards::contactFromJson(file.content));
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(file.path + ": " + error.what());
    }
  }
  return records;
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) throw std::runtime_error(path + ": can't write");
}

}  // namespace bench
