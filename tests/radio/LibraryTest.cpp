#include <regex>
#include <set>
#include <sstream>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

// The library file.
class LibraryTest : public RadioTest {
 protected:
  std::string OutputOf(const std::vector<std::string>& words,
                       const std::map<std::string, std::string>& environment = {}) {
    Process::Settings settings;
    settings.output = folder() / "output";
    settings.environment = environment;
    std::filesystem::remove(settings.output);
    EXPECT_EQ(Process::run(words, settings).Wait(), 0) << contentOf(settings.output);
    return contentOf(settings.output);
  }
};

TEST_F(LibraryTest, NeedsOnlyTheCLibrary) {
  if (!isInstalled("readelf")) GTEST_SKIP() << "readelf is not installed";
  const std::string needed = OutputOf({"readelf", "-dW", RADIO_LIBRARY});
  const std::regex entry("\\(NEEDED\\)[^\\[]*\\[([^\\]]*)\\]");
  std::set<std::string> libraries;
  for (std::sregex_iterator it(needed.begin(), needed.end(), entry), end; it != end; ++it) {
    libraries.insert((*it)[1]);
  }
  EXPECT_EQ(libraries, std::set<std::string>{"libc.so.6"});
}

TEST_F(LibraryTest, ExportsOnlyInterposedFunctions) {
  if (!isInstalled("nm")) GTEST_SKIP() << "nm is not installed";
  std::istringstream symbols(OutputOf({"nm", "-D", "--defined-only", "-j", RADIO_LIBRARY}));
  std::set<std::string> shown;
  for (std::string symbol; symbols >> symbol;) shown.insert(symbol);
  const std::set<std::string> expected = {
      "socket",         "bind",        "listen",     "accept",     "accept4", "connect", "shutdown",
      "getsockname",    "getpeername", "getsockopt", "setsockopt", "read",    "readv",   "recv",
      "recvfrom",       "recvmsg",     "recvmmsg",   "__read_chk", "write",   "writev",  "send",
      "sendto",         "sendmsg",     "sendmmsg",   "close",      "dup",     "dup2",    "dup3",
      "__recvfrom_chk", "__recv_chk",  "fcntl",      "fcntl64"};
  EXPECT_EQ(shown, expected);
}

// The other library's constructor runs first.
TEST_F(LibraryTest, WorksInAnotherLibrarysConstructor) {
  const std::string both = std::string(RADIO_LIBRARY) + ":" + RADIO_EARLY_LIBRARY;
  EXPECT_EQ(OutputOf({"true"}, {{"LD_PRELOAD", both}}), "early: card, then reset\n");
}

}  // namespace
}  // namespace radiotest
