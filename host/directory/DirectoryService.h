#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "framework/DirectoryServiceIfc.h"
#include "framework/Executable.h"
#include "host/directory/DirectoryRequest.h"
#include "host/directory/PhoneBook.h"

namespace host {

/// The telephone's Directory Service: carries out requests on the phonebook. docs/phonebook.md
/// describes requests and answers.
///
/// Threads: thread-safe. Requests are parsed concurrently and carried out one at a time, each of
/// which may block for as long as the timeouts of PhoneBookOptions say.
class DirectoryService : public Executable, public DirectoryServiceIfc {
 public:
  /// Opens the phonebook. Throws PhoneBookError.
  explicit DirectoryService(PhoneBookOptions options);
  ~DirectoryService() override;
  DirectoryService(const DirectoryService&) = delete;
  DirectoryService& operator=(const DirectoryService&) = delete;

  void init(Context& context) override;
  /// Closes the phonebook. Later requests are answered with a failure.
  void shutdown() override;

  std::string handleRequest(const std::string& request) noexcept override;

 private:
  std::string answer(const std::string& request);
  std::string read(const DirectoryRequest& request);
  std::string write(const DirectoryRequest& request);
  std::string update(const DirectoryRequest& request);
  std::string remove(const DirectoryRequest& request);
  PhoneBook& openBook();

  std::mutex m_lock;
  std::unique_ptr<PhoneBook> m_book;  ///< Guarded by m_lock; null after shutdown.
};

}  // namespace host
