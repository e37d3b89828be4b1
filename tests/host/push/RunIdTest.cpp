#include "host/push/RunId.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace {

/// The name of a process that has ended.
std::string nameOfAnEndedRun() {
  int pipe[2];
  EXPECT_EQ(::pipe(pipe), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const std::string name = host::nameOfThisRun();
    const ssize_t written = ::write(pipe[1], name.data(), name.size());
    ::_exit(written > 0 ? 0 : 1);
  }
  ::close(pipe[1]);
  char text[512];
  const ssize_t got = ::read(pipe[0], text, sizeof text);
  ::close(pipe[0]);
  ::waitpid(child, nullptr, 0);
  return got > 0 ? std::string(text, static_cast<std::size_t>(got)) : "";
}

}  // namespace

TEST(RunId, ThisRunHasNotEnded) {
  EXPECT_EQ(host::nameOfThisRun(), host::nameOfThisRun());
  EXPECT_FALSE(host::hasEnded(host::nameOfThisRun()));
}

TEST(RunId, ARunWhoseProcessIsGoneHas) { EXPECT_TRUE(host::hasEnded(nameOfAnEndedRun())); }

TEST(RunId, AnotherProcessOfTheSameNumberIsAnotherRun) {
  const std::string run = host::nameOfThisRun();
  std::string earlier = run.substr(0, run.size() - host::phoneOfRun(run).size() - 1);
  EXPECT_FALSE(host::hasEnded(earlier));
  earlier.back() = earlier.back() == '1' ? '2' : '1';
  EXPECT_TRUE(host::hasEnded(earlier));
}

TEST(RunId, OfOtherMachinesNothingIsKnown) {
  EXPECT_FALSE(host::hasEnded("another machine/boot/1/2"));
  EXPECT_FALSE(host::hasEnded(""));
}

TEST(RunId, TellsWhoseItIs) {
  char host[256] = "";
  ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
  EXPECT_EQ(host::phoneOfRun(host::nameOfThisRun()),
            std::string(::getpwuid(::geteuid())->pw_name) + "@" + host);
  EXPECT_EQ(host::phoneOfRun("machine/boot/1/2"), "");
  EXPECT_EQ(host::phoneOfRun(""), "");
}
