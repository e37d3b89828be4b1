#pragma once

#include <string>

namespace host {

/// Why this process can't write a photo into the images folder at `root`, a sentence without an
/// end; empty when it can. Nothing of the attempt stays. Any thread; it may take as long as the
/// disk.
std::string imagesProblem(const std::string& root);

}  // namespace host
