#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "framework/Storage.h"

/// A folder of its own for each test, with a root in it and a neighbour that must stay as it is.
/// Every test also proves that no descriptor was left open.
class StorageTest : public ::testing::Test {
 protected:
  /// What is beneath a folder: a name with its path, and "file:CONTENTS", "folder", "link:TARGET"
  /// or "other".
  using Tree = std::map<std::string, std::string>;

  void SetUp() override;
  void TearDown() override;

  /// The absolute path of a name beneath the root.
  std::string At(const std::string& name) const { return m_root + "/" + name; }

  bool StoreAt(const std::string& path, const std::string& bytes) const;
  bool Store(const std::string& name, const std::string& bytes) const;
  void ExpectStored(const std::string& name, const std::string& bytes) const;
  /// That it is refused and changes nothing, in the root or beside it.
  void ExpectRefused(const std::string& name, const std::string& bytes = "new") const;
  void ExpectRefusedAt(const std::string& path, const std::string& bytes = "new") const;
  /// Stores until it is accepted: the room that someone made is seen at the next count only.
  void ExpectStoredInTheEnd(const std::string& name, const std::string& bytes) const;

  void Put(const std::string& name, const std::string& bytes) const;
  void MakeFolder(const std::string& name) const;
  void Link(const std::string& name, const std::string& target) const;
  std::string Read(const std::string& name) const;
  /// Everything beneath the root.
  Tree Images() const;
  Tree Everything() const;
  std::vector<std::string> Names() const;
  std::vector<std::string> Unfinished() const;

  std::string m_folder;
  std::string m_root;
  Storage::Limits m_limits;

 private:
  std::size_t m_openBefore = 0;
};

/// The number of open descriptors of this process.
std::size_t OpenDescriptors();

/// Runs the expectations in a child process, so that what they change about the process ends with
/// it.
void InChild(const std::function<void()>& expectations);
/// The same as a user whom file modes bind: root becomes "nobody".
void AsOrdinaryUser(const std::function<void()>& expectations);
/// For a child process: from now on the kernel answers these system calls with this error.
void RefuseSystemCalls(std::initializer_list<long> calls, int error);

/// Starts a child process that ends with the function; ended (with SIGKILL) and waited for at the
/// latest by the destructor.
class StorageChild {
 public:
  explicit StorageChild(const std::function<void()>& work);
  ~StorageChild();
  StorageChild(const StorageChild&) = delete;
  StorageChild& operator=(const StorageChild&) = delete;

  void Kill();
  /// Waits for its end and returns its exit code, -1 when it was killed.
  int Join();
  bool Running();

 private:
  int m_process;
};
