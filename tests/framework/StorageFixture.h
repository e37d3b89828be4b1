#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "StorageRoot.h"
#include "framework/Storage.h"

/// Gives each test a folder with a root ("images") and a folder beside it ("outside") that must not
/// change. Also checks that no descriptor is left open.
class StorageTest : public ::testing::Test {
 protected:
  /// What is beneath a folder: relative paths, and "file:CONTENTS", "folder", "link:TARGET" or
  /// "other".
  using Tree = std::map<std::string, std::string>;

  void SetUp() override;
  void TearDown() override;

  /// Returns the absolute path of a name beneath the root.
  std::string At(const std::string& name) const { return m_root + "/" + name; }

  framework_detail::StorageDescriptor OpenRoot() const;

  bool StoreAt(const std::string& path, const std::string& bytes) const;
  bool Store(const std::string& name, const std::string& bytes) const;
  void ExpectStored(const std::string& name, const std::string& bytes) const;
  /// Also expects that nothing changes, in the root or beside it.
  void ExpectRefused(const std::string& name, const std::string& bytes = "new") const;
  void ExpectRefusedAt(const std::string& path, const std::string& bytes = "new") const;
  /// Repeats the write until it succeeds: deleted files are noticed at the next count only.
  void ExpectStoredInTheEnd(const std::string& name, const std::string& bytes) const;

  /// Counts the root as another process would.
  void CountAnew() const;

  void Put(const std::string& name, const std::string& bytes) const;
  void MakeFolder(const std::string& name) const;
  void Link(const std::string& name, const std::string& target) const;
  std::string Read(const std::string& name) const;
  /// What is beneath the root, and beneath the test's folder.
  Tree Images() const;
  Tree Everything() const;
  /// Names of the temporary files in the root.
  std::vector<std::string> Unfinished() const;

  std::string m_folder;
  std::string m_root;
  Storage::Limits m_limits;

 private:
  std::size_t m_openBefore = 0;
};

/// Returns the number of open descriptors of this process.
std::size_t OpenDescriptors();

/// Runs the expectations in a child process, so that what they change in the process is undone.
void InChild(const std::function<void()>& expectations);
/// The same, as "nobody" if this is root, which ignores file modes.
void AsOrdinaryUser(const std::function<void()>& expectations);
/// Makes these system calls fail with this error for the rest of the process. Call in a child.
void RefuseSystemCalls(std::initializer_list<long> calls, int error);

/// Runs a function in a child process. The destructor kills the child.
class StorageChild {
 public:
  explicit StorageChild(const std::function<void()>& work);
  ~StorageChild();
  StorageChild(const StorageChild&) = delete;
  StorageChild& operator=(const StorageChild&) = delete;

  void Kill();
  /// Waits for the child and returns its exit code, -1 if it was killed.
  int Join();

 private:
  int m_process;
};
