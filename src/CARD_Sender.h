#pragma once

#include <bluetooth/bluetooth.h>

#include <cstdint>
#include <string>

#include "framework/Export.h"
#include "framework/Threadable.h"

/// Parses a Bluetooth address such as "00:11:22:33:44:55", with one or two hexadecimal digits per
/// group, into six bytes; the first group is the last byte. Returns 1, or 0 for an invalid address,
/// which leaves `address` partly filled.
extern "C" FRAMEWORK_API int bt_aton(const char* text, bdaddr_t* address);

/// User data of the client's OpenOBEX handle, on the stack of the sending thread.
struct SenderSyncFlags {
  std::uint8_t requestDone;    ///< the pending request was answered
  std::uint8_t requestFailed;  ///< at least one answer was not success
};

/// Object Push client: sends one card to another device with CONNECT, PUT and DISCONNECT. A peer
/// that sends nothing for ten seconds ends the push with an error.
///
/// Threads: the service constructs it, spawns it, waits for its thread to end, calls `getError` and
/// deletes it. Everything else runs on its thread.
class CARD_Sender : public Threadable {
 public:
  /// Copies its arguments. Only the low 8 bits of the channel are used.
  CARD_Sender(const std::string& vCard, std::string remoteAddress, int channel,
              const std::string& remoteFilename);
  ~CARD_Sender() override;

  /// Resets the error and the handle. Returns true.
  bool init();
  void run() override;
  /// Call after the thread has ended. 0 if the push succeeded, 1 if it failed.
  int getError();

  // Steps of a push. Each returns true once the peer has answered, even with a refusal.

  bool connect_client();
  bool put_client(const std::string& data, const std::string& remoteFilename);
  void disconnect_client();
  /// Waits for the answer. False on a link error, or after ten seconds without a packet.
  bool syncwait();

  /// OpenOBEX event callback.
  static void obex_event(void** handle, void** object, int mode, int event, int obex_cmd,
                         int obex_rsp);
  static void client_done(void** object, int obex_cmd, int obex_rsp, void** handle);
  // Each returns 1 unless the answer is success.
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
