#pragma once

#include "framework/DirectoryServiceIfc.h"
#include "framework/Executable.h"
#include "host/push/PushLedger.h"

namespace host {

/// The Directory Service as the plug-in sees it: hands everything on, and tells the ledger what
/// became of the cards of a batch.
///
/// Threads: any. What is given must outlive it.
class DirectoryTap : public Executable, public DirectoryServiceIfc {
 public:
  DirectoryTap(DirectoryServiceIfc& directory, PushLedger& ledger)
      : m_directory(directory), m_ledger(ledger) {}

  void init(Context& context) override { static_cast<void>(context); }
  void shutdown() override {}
  std::string handleRequest(const std::string& request) override;

 private:
  DirectoryServiceIfc& m_directory;
  PushLedger& m_ledger;
};

}  // namespace host
