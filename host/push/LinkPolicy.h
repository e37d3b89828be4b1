#pragma once

#include <functional>
#include <mutex>
#include <string>

#include "framework/RadioLinkIfc.h"
#include "host/bluetooth/DeviceRegistry.h"
#include "host/push/PushLedger.h"
#include "host/push/RadioStatus.h"

namespace host {

/// Decides who may come in by the radio link, before anything of a card is read, and passes on what
/// happens there.
///
/// Threads: any. What is given must outlive it.
class LinkPolicy : public RadioLinkIfc {
 public:
  struct State {
    std::string peerName;      ///< of the peer that is connected; not safe to show
    std::string peerStanding;  ///< "trusted", "stranger", ...; empty without a peer
    std::string lastDecision;  ///< "66:77:88:99:AA:BB is refused: a stranger"
  };
  /// A server listens on this channel, 0 for none any more.
  using OnListening = std::function<void(int channel)>;

  /// `onLinkEnd` is called when a device that was let in has gone.
  LinkPolicy(const AdmissionPolicy& policy, const DeviceRegistry& peers, RadioStatus& status,
             PushLedger& ledger, OnListening onListening, std::function<void()> onLinkEnd);

  [[nodiscard]] State state() const;

  void linkListening(int channel) override;
  void linkStopped() override;
  bool linkAccepted(const std::string& address) override;
  void linkObject(const std::string& name, std::size_t size) override;
  void linkAnswered(int command, int response) override;
  void linkClosed(const std::string& reason) override;
  bool linkForbidden() override;

 private:
  bool decide(const std::string& address);
  AdmissionPolicy::Decision enter(const std::string& address, const Peer& peer);

  const AdmissionPolicy m_policy;
  const DeviceRegistry& m_peers;
  RadioStatus& m_status;
  PushLedger& m_ledger;
  const OnListening m_onListening;
  const std::function<void()> m_onLinkEnd;
  mutable std::mutex m_mutex;
  State m_state;  ///< Guarded by m_mutex.
};

}  // namespace host
