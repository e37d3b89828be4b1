#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "framework/RadioLinkIfc.h"
#include "host/bluetooth/DeviceRegistry.h"
#include "host/push/PushTracker.h"

namespace host {

/// Decides which devices may connect, before anything they send is read, keeps the link's state for
/// status, and passes the link's events on.
///
/// Threads: any. What is passed must outlive the object.
class LinkPolicy : public RadioLinkIfc {
 public:
  struct Options {
    AdmissionPolicy admission;
    /// Repeat a CONNECT that is forbidden without its Who header, if BlueZ runs.
    bool retryForbidden = true;
  };
  struct State {
    bool listening = false;
    int channel = 0;           ///< RFCOMM channel while listening, else 0
    std::string listenError;   ///< why the server can't listen, else empty
    std::string peer;          ///< address of the connected device, else empty
    std::string peerName;      ///< its name; untrusted
    std::string peerTrust;     ///< "trusted", "stranger", ...
    std::string lastPeer;      ///< address of the last device that connected
    std::string lastDecision;  ///< "66:77:88:99:AA:BB is refused: a stranger"
    std::string lastObject;    ///< name of the last object pushed
    std::size_t lastSize = 0;  ///< its size in bytes
    int lastAnswer = 0;        ///< last OBEX response code sent, 0 for none
    std::string lastLinkEnd;   ///< why the last link ended
    std::size_t objects = 0;   ///< pushed since the start
  };
  /// The server listens on this channel; 0: it stopped.
  using OnListening = std::function<void(int channel)>;

  /// `onLinkEnd` is called after an admitted device has disconnected.
  LinkPolicy(const Options& options, const DeviceRegistry& peers, PushTracker& tracker,
             OnListening onListening, std::function<void()> onLinkEnd);

  [[nodiscard]] State state() const;

  /// Receiving is to be switched off: as long as the returned object exists, a server whose channel
  /// is taken gives up, so that it ends.
  [[nodiscard]] std::shared_ptr<void> switchOff();

  void linkListening(int channel) override;
  void linkStopped() override;
  bool linkAccepted(const std::string& address) override;
  void linkObject(const std::string& name, std::size_t size) override;
  void linkAnswered(int command, int response) override;
  void linkClosed(const std::string& reason) override;
  bool linkForbidden() override;
  bool linkStopping() override { return m_switchingOff > 0; }
  void listenFailed(int channel, int error) override;

 private:
  void setListening(int channel);
  bool decide(const std::string& address);
  AdmissionPolicy::Decision admit(const std::string& address, const Peer& peer);

  const Options m_options;
  const DeviceRegistry& m_peers;
  PushTracker& m_tracker;
  const OnListening m_onListening;
  const std::function<void()> m_onLinkEnd;
  std::atomic<bool> m_forbiddenLogged{false};
  std::atomic<int> m_switchingOff{0};  ///< objects returned by `switchOff`
  mutable std::mutex m_mutex;
  // Guarded by m_mutex:
  State m_state;
  int m_listenErrno = 0;
};

/// "ready" if this machine has RFCOMM sockets, otherwise what is missing, for the user.
std::string describeRadio();

}  // namespace host
