#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "framework/Threadable.h"

class EventHandler;
class OBEXService;

/// User data of the server's OpenOBEX handle, on the stack of the server's thread: how events end
/// the input loop.
struct ServerLoopFlags {
  std::uint8_t stopRequested;   ///< leave the input loop
  std::uint8_t resetRequested;  ///< then open OpenOBEX again instead of ending the thread
};

/// Object Push server on RFCOMM channel 4. Opens OpenOBEX, registers, and handles input until it is
/// disabled; after a link error it opens and registers again. Events go to the `EventHandler`.
///
/// Threads: the service constructs it, calls `setOBEXService` and `setEnable`, spawns it, and
/// deletes it after its thread has ended. `run` and all events run on that thread. `setEnable` may
/// be called from any thread and takes effect within a second, but not while opening or registering
/// fails and is retried. Only one server may exist at a time.
class OBEXServer : public Threadable {
 public:
  OBEXServer();
  ~OBEXServer() override;

  /// Sets the receiver of cards, not owned. Call before the thread starts.
  void setOBEXService(OBEXService* service);
  void setEnable(bool enable);
  /// Sets the number of registration attempts per OpenOBEX instance (at least one is made) and of
  /// further instances to try after a failed one (-1: no limit). Call before the thread starts.
  void setInitAttempts(int registerAttempts, int initAttempts);

  void run() override;

  /// OpenOBEX event callback.
  static void obexEventCallback(void** handle, void** object, int mode, int event, int obex_cmd,
                                int obex_rsp);

  /// Lets the callback reach the handler. Written only by constructor and destructor, while no
  /// server thread runs.
  static EventHandler* m_obexEventHandler;

 private:
  void** open(ServerLoopFlags& flags);
  bool registerServer(void** handle);
  void serve(void** handle);

  std::atomic<bool> m_enabled;
  [[maybe_unused]] std::string m_text;
  [[maybe_unused]] std::int32_t m_number;
  std::int32_t m_registerAttempts;
  std::int32_t m_initAttempts;
};

/// Answers requests to the push server and hands pushed cards to the service. Accepts CONNECT,
/// DISCONNECT and PUT of objects named "*.vcf"; refuses everything else.
///
/// Threads: runs on the server's thread, inside OpenOBEX's input handling. Keeps no state between
/// events. Owned by the server; the service is not owned.
class EventHandler {
 public:
  /// Takes the arguments of the OpenOBEX callback.
  using Handler = void (EventHandler::*)(void** handle, void** object, int mode, int event,
                                         int obex_cmd, int obex_rsp);
  using HandlerTable = std::map<int, Handler>;

  explicit EventHandler(OBEXServer* server);

  void setOBEXService(OBEXService* service);
  [[nodiscard]] const HandlerTable& handlers() const { return m_handlers; }

  /// Start of a request: refuses unsupported commands.
  void handleEventReqHint(void** handle, void** object, int mode, int event, int obex_cmd,
                          int obex_rsp);
  /// First headers of a request: refuses an object whose name is not a vCard's.
  void handleEventReqCheck(void** handle, void** object, int mode, int event, int obex_cmd,
                           int obex_rsp);
  /// Complete request.
  void handleEventRequest(void** handle, void** object, int mode, int event, int obex_cmd,
                          int obex_rsp);
  /// A packet of a request was handled.
  void handleEventProgress(void** handle, void** object, int mode, int event, int obex_cmd,
                           int obex_rsp);
  /// Link error: makes the server open OpenOBEX again.
  void handleEventLinkErr(void** handle, void** object, int mode, int event, int obex_cmd,
                          int obex_rsp);

  void handleConnectRequest(void** handle, void** object);
  /// Parses a pushed object and hands its card to the service.
  void handlePutRequest(void** handle, void** object);

 private:
  void parseBody(const unsigned char* body, int length);
  void forward(const std::string& message);

  HandlerTable m_handlers;
  [[maybe_unused]] OBEXServer* m_server;
  OBEXService* m_service;
};
