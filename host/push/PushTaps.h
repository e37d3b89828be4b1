#pragma once

#include "framework/DirectoryServiceIfc.h"
#include "framework/Executable.h"
#include "framework/ProxyRequest.h"
#include "host/push/PushTracker.h"

namespace host {

/// Messages by which cards are offered and answered: the only ones that the host itself uses.
namespace cardmessage {
inline constexpr const char* kSubscribe = "subscribeEvent";
inline constexpr const char* kOffered = "vCardAcceptEvent";
inline constexpr const char* kError = "vCardErrorEvent";
inline constexpr const char* kAccepted = "vCardsAcceptedEvent";
inline constexpr const char* kRejected = "vCardsRejectedEvent";
}  // namespace cardmessage

/// The Directory Service as the plug-in sees it: forwards every request and reports the outcome of
/// those that store a card to the tracker.
///
/// Threads: any. What is passed must outlive the object.
class DirectoryTap : public Executable, public DirectoryServiceIfc {
 public:
  DirectoryTap(DirectoryServiceIfc& directory, PushTracker& tracker)
      : m_directory(directory), m_tracker(tracker) {}

  void init(Context& context) override { static_cast<void>(context); }
  void shutdown() override {}
  std::string handleRequest(const std::string& request) override;

 private:
  DirectoryServiceIfc& m_directory;
  PushTracker& m_tracker;
};

/// The host as an observer of its own service: reports offered cards to the tracker.
///
/// Threads: any. The tracker must outlive the object.
class OwnObserver : public ProxyRequest {
 public:
  explicit OwnObserver(PushTracker& tracker) : m_tracker(tracker) {}

  bool send(const Method& method) override;

 private:
  PushTracker& m_tracker;
};

}  // namespace host
