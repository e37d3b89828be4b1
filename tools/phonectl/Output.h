#pragma once

#include <string>

namespace phonectl {

// Standard output, line by line. Every line is on its way to the reader when the call returns.
// Throws Failure when it can't be written. Threads: one at a time.

void printLine(const std::string& line);
/// Without a line end: a question.
void printPrompt(const std::string& text);

}  // namespace phonectl
