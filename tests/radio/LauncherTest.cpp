#include <sys/stat.h>

#include "tests/radio/Process.h"
#include "tests/radio/RadioTest.h"

namespace radiotest {
namespace {

class LauncherTest : public RadioTest {
 protected:
  LauncherTest() {
    m_settings.output = folder() / "output";
    m_settings.workingFolder = folder();
  }

  // Runs virtual-radio; returns its exit code.
  int Run(std::vector<std::string> words) {
    words.insert(words.begin(), m_program);
    std::filesystem::remove(m_settings.output);
    return Process::run(words, m_settings).Wait();
  }
  int RunCommand(std::vector<std::string> command) {
    command.insert(command.begin(), {"--address", kPhone, "--dir", air().string(), "--"});
    return Run(command);
  }

  void ExpectRefusal(const std::vector<std::string>& words, const std::string& sentence) {
    EXPECT_EQ(Run(words), 125);
    ExpectOutput(sentence);
  }
  void ExpectOutput(const std::string& part) const {
    EXPECT_NE(output().find(part), std::string::npos) << output();
  }
  std::string output() const { return contentOf(m_settings.output); }
  std::filesystem::path air() const { return folder() / "air"; }

  // Copies launcher and library, and uses the copies.
  void InstallTo(const std::filesystem::path& prefix, const std::string& libraryFolder) {
    std::filesystem::create_directories(prefix / "bin");
    std::filesystem::create_directories(prefix / libraryFolder);
    std::filesystem::copy(RADIO_LAUNCHER, prefix / "bin/virtual-radio");
    std::filesystem::copy(RADIO_LIBRARY, prefix / libraryFolder / "libvirtualradio.so");
    m_program = prefix / "bin/virtual-radio";
  }

  std::string m_program = RADIO_LAUNCHER;
  Process::Settings m_settings;
};

TEST_F(LauncherTest, ReturnsTheCommandsExitCode) {
  EXPECT_EQ(RunCommand({"true"}), 0);
  EXPECT_EQ(RunCommand({"sh", "-c", "exit 42"}), 42);
}

TEST_F(LauncherTest, Returns127AndAMessageWhenTheCommandIsNotFound) {
  EXPECT_EQ(RunCommand({"no-such-command", "-b"}), 127);
  EXPECT_EQ(output(), "virtual-radio: cannot run \"no-such-command\": No such file or directory\n");
}

TEST_F(LauncherTest, Returns126WhenTheCommandCannotBeRun) {
  EXPECT_EQ(RunCommand({folder()}), 126);
  ExpectOutput("Permission denied");
}

TEST_F(LauncherTest, PassesTheCommandsArgumentsUnchanged) {
  EXPECT_EQ(RunCommand({"printf", "<%s>", "--help", "--", "", "a b", "[x,y]", "-p"}), 0);
  EXPECT_EQ(output(), "<--help><--><><a b><[x,y]><-p>");
}

TEST_F(LauncherTest, GivesTheCommandARadioWithTheAddress) {
  EXPECT_EQ(
      RunCommand({"sh", "-c", "echo $VIRTUAL_RADIO_ADDRESS; pwd -P; ls \"$VIRTUAL_RADIO_DIR\""}),
      0);
  ExpectOutput("00:11:22:33:44:55\n");
  ExpectOutput("\n001122334455\n");
}

TEST_F(LauncherTest, CreatesTheFolderForTheOwnerOnlyAndPassesItsAbsolutePath) {
  EXPECT_EQ(Run({"--address", kPhone, "--dir", "air", "--", "sh", "-c", "echo $VIRTUAL_RADIO_DIR"}),
            0);
  EXPECT_EQ(output(), std::filesystem::canonical(air()).string() + "\n");
  EXPECT_EQ(std::filesystem::status(air()).permissions(), std::filesystem::perms::owner_all);
}

TEST_F(LauncherTest, PreloadsTheRadioBeforeOtherLibraries) {
  m_settings.environment = {{"LD_PRELOAD", "libm.so.6"}};
  EXPECT_EQ(RunCommand({"sh", "-c", "echo $LD_PRELOAD"}), 0);
  EXPECT_EQ(output(), std::filesystem::canonical(RADIO_LIBRARY).string() + ":libm.so.6\n");
}

TEST_F(LauncherTest, UsesTheRuntimeFolderByDefault) {
  unsetenv("VIRTUAL_RADIO_DIR");
  m_settings.environment = {{"XDG_RUNTIME_DIR", folder()}};
  EXPECT_EQ(Run({"--address", kPhone, "--", "sh", "-c", "echo $VIRTUAL_RADIO_DIR"}), 0);
  EXPECT_EQ(output(), (std::filesystem::canonical(folder()) / "virtual-radio").string() + "\n");
}

TEST_F(LauncherTest, RejectsADefaultFolderThatOthersCanWriteTo) {
  unsetenv("VIRTUAL_RADIO_DIR");
  m_settings.environment = {{"XDG_RUNTIME_DIR", folder()}};
  std::filesystem::create_directory(folder() / "virtual-radio");
  ASSERT_EQ(chmod((folder() / "virtual-radio").c_str(), 0777), 0);
  ExpectRefusal({"--address", kPhone, "--", "true"}, "choose another with --dir");
}

TEST_F(LauncherTest, RejectsAFolderWithoutAParent) {
  ExpectRefusal({"--address", kPhone, "--dir", folder() / "no" / "air", "--", "true"},
                "cannot use the folder \"" + (folder() / "no" / "air").string() +
                    "\": its parent folder does not exist");
}

TEST_F(LauncherTest, RejectsAFileAsFolder) {
  ExpectRefusal({"--address", kPhone, "--dir", "/dev/null", "--", "true"}, "Not a directory");
}

TEST_F(LauncherTest, RejectsAnInvalidAddress) {
  for (const char* address : {"", "00:11:22:33:44", "00:11:22:33:44:GG", "00:00:00:00:00:00"}) {
    ExpectRefusal({"--address", address, "--", "true"}, "is not a Bluetooth address");
  }
}

TEST_F(LauncherTest, ReportsMissingArguments) {
  ExpectRefusal({}, "--address is required");
  ExpectRefusal({"--address", kPhone}, "a command after --");
  ExpectRefusal({"--address", kPhone, "--"}, "a command after --");
  ExpectRefusal({"--address", kPhone, "true"}, "Put -- before the command.");
}

TEST_F(LauncherTest, PrintsHelp) {
  EXPECT_EQ(Run({"--help"}), 0);
  ExpectOutput("--address ADDRESS");
  ExpectOutput("127 if it was not found");
}

TEST_F(LauncherTest, FindsTheInstalledLibrary) {
  InstallTo(folder() / "one", "lib");
  EXPECT_EQ(RunCommand({"true"}), 0);
  InstallTo(folder() / "two", "lib/obexphone");
  EXPECT_EQ(RunCommand({"sh", "-c", "echo $LD_PRELOAD"}), 0);
  ExpectOutput("two/lib/obexphone/libvirtualradio.so\n");
}

TEST_F(LauncherTest, ListsTheTriedPathsWhenTheLibraryIsMissing) {
  InstallTo(folder() / "three", "elsewhere");
  EXPECT_EQ(RunCommand({"true"}), 125);
  ExpectOutput("cannot find libvirtualradio.so; tried\n");
  ExpectOutput("three/lib/obexphone/libvirtualradio.so\n");
}

TEST_F(LauncherTest, RejectsALibraryThatCannotBePreloaded) {
  InstallTo(folder() / "my phone", "lib");
  EXPECT_EQ(RunCommand({"true"}), 125);
  ExpectOutput("cannot preload");
}

}  // namespace
}  // namespace radiotest
