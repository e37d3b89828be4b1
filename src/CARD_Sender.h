#pragma once

#include <bluetooth/bluetooth.h>

#include <cstdint>
#include <string>

#include "framework/Export.h"
#include "framework/Threadable.h"

/// Reads a Bluetooth device address, "00:11:22:33:44:55" (one or two hexadecimal digits a group),
/// into six bytes, the first group into the last byte. Returns 1; 0 when it is no address, and
/// `address` may then hold a part of it.
extern "C" FRAMEWORK_API int bt_aton(const char* text, bdaddr_t* address);

/// Travels with the client's OpenOBEX handle, on the stack of the thread that pushes.
struct SenderSyncFlags {
  std::uint8_t requestDone;    ///< the request in flight is complete
  std::uint8_t requestFailed;  ///< some request was answered with something else than success
};

/// Pushes one card to another device: connects, and performs CONNECT, PUT and DISCONNECT one after
/// the other. One object for one push.
///
/// Threads: constructed and deleted by the service, which spawns it, waits for the thread's end and
/// then asks `getError`. Everything else belongs to the thread. A peer that says nothing for ten
/// seconds ends the push.
class CARD_Sender : public Threadable {
 public:
  /// Copies everything. Of the channel only the low 8 bits count.
  CARD_Sender(const std::string& vCard, std::string remoteAddress, int channel,
              const std::string& remoteFilename);
  ~CARD_Sender() override;

  /// Makes it ready for a push; always true.
  bool init();
  void run() override;
  /// 0 when the push succeeded, 1 when it failed. After the thread has ended.
  int getError();

  // The steps of a push. A request is done when the peer has answered it, with whatever answer.

  bool connect_client();
  bool put_client(const std::string& data, const std::string& remoteFilename);
  void disconnect_client();
  /// Waits for the request in flight. False on an error of the link, and after ten seconds without
  /// a packet.
  bool syncwait();

  /// The function that OpenOBEX calls for every event.
  static void obex_event(void** handle, void** object, int mode, int event, int obex_cmd,
                         int obex_rsp);
  static void client_done(void** object, int obex_cmd, int obex_rsp, void** handle);
  // Each is 1 when the answer is no success.
  static int connect_client_done(void** object, int obex_rsp);
  static int put_client_done(void** object, int obex_rsp);
  static int disconnect_client_done(void** object, int obex_rsp);

 private:
  bool fail();
  void** m_handle;
  bdaddr_t m_remoteAddress;
  std::string m_vCard;
  std::string m_remoteFilename;
  std::int32_t m_channel;
  std::int32_t m_error;
};
