#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "framework/DirectoryServiceIfc.h"
#include "framework/Executable.h"
#include "host/directory/DirectoryRequest.h"
#include "host/directory/PhoneBook.h"

namespace host {

/// The telephone's Directory Service: answers requests with what stands in the phonebook. Requests
/// and answers are described in docs/phonebook.md.
///
/// Threads: `handleRequest` may be called from any thread, while the others run, too. One request
/// at a time is with the database, which may take as long as the options' time-out when another
/// program has it locked; reading requests is done by all at once.
class DirectoryService : public Executable, public DirectoryServiceIfc {
 public:
  /// Opens the phonebook. Throws PhoneBookError (a std::runtime_error) with a sentence for the
  /// user.
  explicit DirectoryService(PhoneBookOptions options);
  ~DirectoryService() override;
  DirectoryService(const DirectoryService&) = delete;
  DirectoryService& operator=(const DirectoryService&) = delete;

  void init(Context& context) override;
  /// Closes the phonebook; a request that comes later is answered with a failure.
  void shutdown() override;

  std::string handleRequest(const std::string& request) override;

 private:
  std::string answer(const std::string& request);
  std::string read(const DirectoryRequest& request);
  std::string write(const DirectoryRequest& request);
  std::string update(const DirectoryRequest& request);
  std::string remove(const DirectoryRequest& request);
  PhoneBook& openBook();

  std::mutex m_lock;
  // Guarded by m_lock; null after shutdown.
  std::unique_ptr<PhoneBook> m_book;
};

}  // namespace host
