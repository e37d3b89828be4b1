#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "framework/Service.h"
#include "framework/Threader.h"
#include "tests/host/plugin/EchoServiceIfc.h"
#include "tests/host/plugin/Teller.h"

/// See EchoServiceIfc. Its destructor waits for its threads, which may tell observers until then.
class EchoService : public Service, public EchoServiceIfc {
 public:
  ~EchoService() override;

  void init(Context& context) override { m_context = &context; }
  void shutdown() override {}
  void run() override {}

  bool subscribe(EchoServiceObserverIfc* observer) override;
  bool unsubscribe(EchoServiceObserverIfc* observer) override;
  void tell(const std::string& text, int count) override;
  void tellLater(const std::string& text, int count) override;
  void cling() override;
  std::string askDirectory(const std::string& request) override;
  bool registerFile(const std::string& path) override;

 private:
  Context* m_context = nullptr;
  Threader m_threader;
  std::vector<std::unique_ptr<Teller>> m_tellers;
  std::mutex m_lock;
  // Guarded by m_lock:
  std::vector<EchoServiceObserverIfc*> m_observers;
  bool m_clings = false;
};
