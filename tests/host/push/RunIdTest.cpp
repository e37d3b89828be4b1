#include "host/push/JournalTable.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace {

/// The run id of a process that has ended.
std::string idOfAnEndedRun() {
  int pipe[2];
  EXPECT_EQ(::pipe(pipe), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const std::string id = host::runId();
    const ssize_t written = ::write(pipe[1], id.data(), id.size());
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

TEST(RunId, HasNotEndedInThisProcess) {
  EXPECT_EQ(host::runId(), host::runId());
  EXPECT_FALSE(host::hasEnded(host::runId()));
}

TEST(RunId, HasEndedWithItsProcess) { EXPECT_TRUE(host::hasEnded(idOfAnEndedRun())); }

TEST(RunId, DiffersForAnotherProcessOfTheSameNumber) {
  const std::string run = host::runId();
  std::string earlier = run.substr(0, run.size() - host::phoneOfRun(run).size() - 1);
  EXPECT_FALSE(host::hasEnded(earlier));
  earlier.back() = earlier.back() == '1' ? '2' : '1';
  EXPECT_TRUE(host::hasEnded(earlier));
}

TEST(RunId, HasNotEndedOnAnotherMachine) {
  EXPECT_FALSE(host::hasEnded("another machine/boot/1/2"));
  EXPECT_FALSE(host::hasEnded(""));
}

TEST(RunId, NamesItsUserAndHost) {
  char host[256] = "";
  ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
  EXPECT_EQ(host::phoneOfRun(host::runId()),
            std::string(::getpwuid(::geteuid())->pw_name) + "@" + host);
  EXPECT_EQ(host::phoneOfRun("machine/boot/1/2"), "");
  EXPECT_EQ(host::phoneOfRun(""), "");
}
