#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Processes all cards once and returns their size.
using Pass = std::function<std::size_t()>;

/// Runs passes for BENCH_WARM seconds (default 0.2), then measures passes for BENCH_SECONDS
/// (default 0.5; at least one pass) and prints "cards N seconds S bytes B cpu C": elapsed seconds S
/// and CPU seconds C. Throws std::runtime_error if a variable is invalid.
void measure(std::size_t cardsInPass, const Pass& pass);

/// Measures `work`, which processes an item and returns its size.
template <typename Item, typename Work>
void measureEach(const std::vector<Item>& items, const Work& work) {
  measure(items.size(), [&] {
    std::size_t bytes = 0;
    for (const Item& item : items) bytes += work(item);
    return bytes;
  });
}

/// Main function of a program whose only argument is a folder, which it passes to `work`. Prints
/// what `work` throws to standard error. Returns the exit code.
int runOnFolder(int argc, char** argv, const std::function<void(const std::string&)>& work);

}  // namespace bench
