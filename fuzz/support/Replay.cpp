// Main program of a target without libFuzzer: runs it on files, and on all files of folders in the
// order of their names.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/support/Contract.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const fs::path& place) {
  if (!fs::is_directory(place)) return {place};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(place)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void replay(const fs::path& file) {
  // Printed first, so that an input that crashes is the last one named.
  std::printf("%s\n", file.c_str());
  std::fflush(stdout);
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error(file.string() + ": can't open");
  const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  // Exact size, so that the sanitizer reports reads past the end.
  const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  try {
    for (int i = 1; i < argc; ++i) {
      for (const fs::path& file : filesOf(argv[i])) {
        replay(file);
        ++count;
      }
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  std::printf("%zu inputs\n", count);
  if (count > 0) return 0;
  std::fprintf(stderr, "no inputs: give files or folders\n");
  return 1;
}
