#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Handles every card of the folder once; returns their bytes.
using Pass = std::function<std::size_t()>;

/// Makes passes for the seconds in BENCH_WARM (default 0.2; 0 makes none), then measures whole
/// passes until those in BENCH_SECONDS (default 0.5) are over, one at least, and prints
/// "cards N seconds S bytes B cpu C": S are elapsed seconds and C those of the processor. Throws
/// std::runtime_error when one of the variables holds no such number.
void measure(std::size_t cardsInPass, const Pass& pass);

/// Measures passes in which `work` handles each of `items` and returns its bytes.
template <typename Item, typename Work>
void measureEach(const std::vector<Item>& items, const Work& work) {
  measure(items.size(), [&] {
    std::size_t bytes = 0;
    for (const Item& item : items) bytes += work(item);
    return bytes;
  });
}

/// The main function of a program that is given a folder: `work` gets its name. Returns the exit
/// code; what `work` throws is told on standard error under the program's name.
int runOnFolder(int argc, char** argv, const std::function<void(const std::string&)>& work);

}  // namespace bench
