#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "framework/Threadable.h"

class EventHandler;
class OBEXService;

/// Travels with the server's OpenOBEX handle, on the stack of the thread that runs it: how an event
/// ends the input loop.
struct ServerLoopFlags {
  std::uint8_t stopRequested;   ///< leave the input loop
  std::uint8_t resetRequested;  ///< then start over instead of ending the thread
};

/// The push server: makes the telephone reachable for Object Push on RFCOMM channel 4. Opens
/// OpenOBEX, registers, and takes input until it is disabled; a link that breaks makes it open and
/// register anew. What happens on the link goes to the `EventHandler`.
///
/// Threads: the service constructs it, calls `setOBEXService` and `setEnable`, spawns it, and
/// deletes it when its thread has ended. `run` and all events belong to that thread. `setEnable`
/// may be called from any thread; the server notices within a second, but not while it fails to
/// open or to register: that is tried until it succeeds. There is one server at a time.
class OBEXServer : public Threadable {
 public:
  OBEXServer();
  ~OBEXServer() override;

  /// Where received cards go; not owned. Before the thread starts.
  void setOBEXService(OBEXService* service);
  void setEnable(bool enable);
  /// How often registration is tried on one OpenOBEX instance (once at least), and how many further
  /// instances may be tried after the first one that failed; -1 is without limit. Before the thread
  /// starts.
  void setInitAttempts(int registerAttempts, int initAttempts);

  void run() override;

  /// The function that OpenOBEX calls for every event.
  static void obexEventCallback(void** handle, void** object, int mode, int event, int obex_cmd,
                                int obex_rsp);

  /// Takes the events: OpenOBEX's plain function reaches it through here. Written by the
  /// constructor and the destructor only, while no server thread runs.
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

/// Decides what the push server answers, and turns a pushed object into a phonebook entry for the
/// service: CONNECT, DISCONNECT and PUT of objects named "….vcf" are accepted, anything else is
/// refused.
///
/// Threads: everything runs on the server's thread, inside OpenOBEX's input handling. Keeps nothing
/// between events. Owned by the server; the service is not owned.
class EventHandler {
 public:
  /// The arguments of every event, as OpenOBEX gives them.
  using Handler = void (EventHandler::*)(void** handle, void** object, int mode, int event,
                                         int obex_cmd, int obex_rsp);
  using HandlerTable = std::map<int, Handler>;

  explicit EventHandler(OBEXServer* server);

  void setOBEXService(OBEXService* service);
  [[nodiscard]] const HandlerTable& handlers() const { return m_handlers; }

  /// A request has begun: refuses the commands that are not served.
  void handleEventReqHint(void** handle, void** object, int mode, int event, int obex_cmd,
                          int obex_rsp);
  /// The first headers of a request have arrived: refuses an object that is no vCard by its name.
  void handleEventReqCheck(void** handle, void** object, int mode, int event, int obex_cmd,
                           int obex_rsp);
  /// A request is complete.
  void handleEventRequest(void** handle, void** object, int mode, int event, int obex_cmd,
                          int obex_rsp);
  /// A packet of a request has been handled.
  void handleEventProgress(void** handle, void** object, int mode, int event, int obex_cmd,
                           int obex_rsp);
  /// The link broke: the server starts over.
  void handleEventLinkErr(void** handle, void** object, int mode, int event, int obex_cmd,
                          int obex_rsp);

  void handleConnectRequest(void** handle, void** object);
  /// Reads the object that a peer has pushed, whole, and hands its card to the service.
  void handlePutRequest(void** handle, void** object);

 private:
  void parseBody(const unsigned char* body, int length);
  void forward(const std::string& message);

  HandlerTable m_handlers;
  [[maybe_unused]] OBEXServer* m_server;
  OBEXService* m_service;
};
