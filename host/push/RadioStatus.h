#pragma once

#include <cstddef>
#include <mutex>
#include <string>

#include "framework/RadioLinkIfc.h"

namespace host {

/// What has been heard of the radio link.
///
/// Threads: any.
class RadioStatus : public RadioLinkIfc {
 public:
  struct State {
    bool listening = false;
    int channel = 0;           ///< on which it listens
    std::string peer;          ///< address of the peer that is connected, empty without one
    std::string lastPeer;      ///< address of the last one that was
    std::string lastObject;    ///< name of the last object that was pushed
    std::size_t lastSize = 0;  ///< and its size in bytes
    int lastAnswer = 0;        ///< OBEX code of the last answer, 0 for none yet
    std::string lastLinkEnd;   ///< why the last link ended
    std::size_t objects = 0;   ///< pushed since the start
  };

  [[nodiscard]] State state() const;

  /// "ready" when this machine can speak RFCOMM; otherwise a sentence that says what is missing.
  static std::string describeRadio();

  void linkListening(int channel) override;
  void linkStopped() override;
  bool linkAccepted(const std::string& address) override;
  void linkObject(const std::string& name, std::size_t size) override;
  void linkAnswered(int command, int response) override;
  void linkClosed(const std::string& reason) override;

 private:
  mutable std::mutex m_mutex;
  State m_state;  ///< Guarded by m_mutex.
};

}  // namespace host
