#include "tests/host/plugin/EchoService.h"

#include <algorithm>

#include "framework/Context.h"
#include "framework/DirectoryServiceIfc.h"
#include "framework/MobilityServiceIfc.h"

extern "C" __attribute__((visibility("default"))) void* createEchoService() {
  return static_cast<Service*>(new EchoService);
}

EchoService::~EchoService() {
  for (const auto& teller : m_tellers) teller->waitForThreadCompletion();
}

bool EchoService::subscribe(EchoServiceObserverIfc* observer) {
  if (observer == nullptr) return false;
  const std::lock_guard lock(m_lock);
  m_observers.push_back(observer);
  return true;
}

bool EchoService::unsubscribe(EchoServiceObserverIfc* observer) {
  const std::lock_guard lock(m_lock);
  if (m_clings) return true;
  const auto found = std::find(m_observers.begin(), m_observers.end(), observer);
  if (found == m_observers.end()) return false;
  m_observers.erase(found);
  return true;
}

void EchoService::tell(const std::string& text, int count) {
  for (int number = 0; number < count; ++number) {
    const std::lock_guard lock(m_lock);
    for (EchoServiceObserverIfc* observer : m_observers) observer->told(text, number);
  }
}

void EchoService::tellLater(const std::string& text, int count) {
  m_tellers.push_back(std::make_unique<Teller>(*this, text, count));
  unsigned long id = 0;
  m_threader.spawn(id, m_tellers.back().get(), "", GPALThreadPriority(1), 0);
}

void EchoService::cling() {
  const std::lock_guard lock(m_lock);
  m_clings = true;
}

std::string EchoService::askDirectory(const std::string& request) {
  auto* directory =
      dynamic_cast<DirectoryServiceIfc*>(m_context->getService("DirectoryServiceIfc"));
  return directory != nullptr ? directory->handleRequest(request) : "";
}

bool EchoService::registerFile(const std::string& path) {
  auto* mobility = dynamic_cast<MobilityServiceIfc*>(m_context->getService("MobilityServiceIfc"));
  return mobility != nullptr && mobility->registerFile(path);
}
