#include "OBEXServer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "CARD_Parser.h"
#include "OBEXService.h"
#include "Trace.h"
#include "framework/GPALSleep.h"
#include "openobex/openobex.h"

using namespace openobex;  // NOLINT: the OBEX functions keep their own names here

namespace {

constexpr const char* kLogComponent = "OBEX Service";
constexpr const char* kLogSource = "./src/OBEXServer.cpp";

constexpr std::uint8_t kChannel = 4;
constexpr int kInputTimeoutSeconds = 1;
constexpr int kPauseMilliseconds = 50;
constexpr int kDefaultRegisterAttempts = 10;
constexpr int kNoLimit = -1;
/// Never received: on the wire, this bit marks the last packet of a request. Refused anyway.
constexpr int kCommandWithFinalBit = 0x80;

constexpr const char* kVCardExtension = "vcf";

void refuseAsNotImplemented(void** object) {
  OBEX_ObjectSetRsp(object, OBEX_RSP_NOT_IMPLEMENTED, OBEX_RSP_NOT_IMPLEMENTED);
}

/// Whether a NAME header names a vCard. An empty name, or no memory to read it, counts as a vCard.
bool isVCardName(const std::uint8_t* unicode, std::uint32_t length) {
  if (length == 0) return true;
  const std::size_t size = length / 2 + 1;  // the value may lack a terminator
  auto* name = static_cast<std::uint8_t*>(std::malloc(size));
  if (name == nullptr) return true;
  name[0] = 0;
  OBEX_UnicodeToChar(name, unicode, static_cast<int>(size));
  const char* text = reinterpret_cast<const char*>(name);
  TRACE("\tNAME: %s", text);
  const char* dot = std::strrchr(text, '.');
  bool isVCard = false;
  if (dot != nullptr) {
    TRACE("\tEXT: %s\n", dot + 1);
    isVCard = std::strcmp(dot + 1, kVCardExtension) == 0;
  }
  std::free(name);
  return isVCard;
}

void refuseAsNoVCard(void** object) {
  TRACE("\tNot a vCard. Exiting...");
  OBEX_ObjectSetRsp(object, OBEX_RSP_UNSUPPORTED_MEDIA_TYPE, OBEX_RSP_UNSUPPORTED_MEDIA_TYPE);
}

}  // namespace

// The server

EventHandler* OBEXServer::m_obexEventHandler = nullptr;

OBEXServer::OBEXServer()
    : m_enabled(true),
      m_number(0),
      m_registerAttempts(kDefaultRegisterAttempts),
      m_initAttempts(kNoLimit) {
  TRACE_ENTRY("OBEXServer");
  m_obexEventHandler = new EventHandler(this);
  TRACE_EXIT("OBEXServer");
}

OBEXServer::~OBEXServer() {
  TRACE_ENTRY("~OBEXServer");
  delete m_obexEventHandler;
  m_obexEventHandler = nullptr;
  TRACE_EXIT("~OBEXServer");
}

void OBEXServer::setOBEXService(OBEXService* service) {
  TRACE_ENTRY("setOBEXService");
  m_obexEventHandler->setOBEXService(service);
  TRACE_EXIT("setOBEXService");
}

void OBEXServer::setEnable(bool enable) {
  TRACE_ENTRY("setEnable");
  m_enabled.store(enable, std::memory_order_relaxed);
  TRACE_EXIT("setEnable");
}

void OBEXServer::setInitAttempts(int registerAttempts, int initAttempts) {
  m_registerAttempts = registerAttempts;
  m_initAttempts = initAttempts;
}

void OBEXServer::run() {
  TRACE_ENTRY("run");
  GPALSleep pause;
  int attempts = m_initAttempts;
  for (;;) {
    ServerLoopFlags flags{};
    void** handle = open(flags);
    if (handle == nullptr) {
      if (attempts == 0) {
        LOG_ERROR("\tOBEX_Init failed. - maximum of attempts reached, exitting ...");
        return;
      }
      LOG_ERROR("\tOBEX_Init failed.");
      if (attempts > 0) --attempts;
      pause.milliSleep(kPauseMilliseconds);
      continue;
    }
    serve(handle);
    OBEX_Cleanup(handle);
    pause.milliSleep(kPauseMilliseconds);
    if (!flags.resetRequested) break;
    TRACE("\treseting server.");
  }
  TRACE("\tterminating server.");
  TRACE_EXIT("run");
}

/// Returns a new OpenOBEX instance, registered as server; null on failure.
void** OBEXServer::open(ServerLoopFlags& flags) {
  void** handle = OBEX_Init(OBEX_TRANS_BLUETOOTH, obexEventCallback, 0);
  if (handle != nullptr) {
    OBEX_SetUserData(handle, &flags);
    if (registerServer(handle)) return handle;
  }
  OBEX_Cleanup(handle);
  return nullptr;
}

bool OBEXServer::registerServer(void** handle) {
  int attempts = m_registerAttempts;
  do {
    const int result = BtOBEX_ServerRegister(handle, nullptr, kChannel);
    --attempts;
    if (result >= 0) return true;
    LOG_ERROR("\tOBEX Server register error! (Bluetooth) - register attempt left: %d", attempts);
  } while (attempts > 0);
  return false;
}

void OBEXServer::serve(void** handle) {
  TRACE("\tOBEX Server is running");
  std::puts("OBEX SERVER IS RUNNING");
  std::fflush(stdout);  // in case it is a pipe
  auto* flags = static_cast<ServerLoopFlags*>(OBEX_GetUserData(handle));
  flags->stopRequested = 0;
  while (m_enabled.load(std::memory_order_relaxed)) {
    OBEX_HandleInput(handle, kInputTimeoutSeconds);
    if (flags->stopRequested) break;
  }
}

void OBEXServer::obexEventCallback(void** handle, void** object, int mode, int event, int obex_cmd,
                                   int obex_rsp) {
  TRACE_ENTRY("handleObexEvent");
  const EventHandler::HandlerTable& handlers = m_obexEventHandler->handlers();
  const auto found = handlers.find(event);
  if (found != handlers.end()) {
    (m_obexEventHandler->*found->second)(handle, object, mode, event, obex_cmd, obex_rsp);
  } else {
    TRACE("\tUnhandled event %02x!", static_cast<unsigned>(event));
  }
  TRACE_EXIT("handleObexEvent");
}

// The events

EventHandler::EventHandler(OBEXServer* server)
    : m_handlers{{OBEX_EV_PROGRESS, &EventHandler::handleEventProgress},
                 {OBEX_EV_REQHINT, &EventHandler::handleEventReqHint},
                 {OBEX_EV_REQCHECK, &EventHandler::handleEventReqCheck},
                 {OBEX_EV_REQ, &EventHandler::handleEventRequest},
                 {OBEX_EV_LINKERR, &EventHandler::handleEventLinkErr}},
      m_server(server),
      m_service(nullptr) {}

void EventHandler::setOBEXService(OBEXService* service) {
  TRACE_ENTRY("setOBEXService");
  m_service = service;
  TRACE_EXIT("setOBEXService");
}

void EventHandler::handleEventReqHint(void**, void** object, int, int, int obex_cmd, int) {
  TRACE("\tOBEX_EV_REQHINT, the command is %d", obex_cmd);
  switch (obex_cmd) {
    case OBEX_CMD_GET:
    case OBEX_CMD_SETPATH:
    case OBEX_CMD_SESSION:
    case OBEX_CMD_ABORT:
    case kCommandWithFinalBit:
      refuseAsNotImplemented(object);
      break;
    default:
      break;
  }
}

void EventHandler::handleEventReqCheck(void** handle, void** object, int, int, int, int) {
  TRACE("\tOBEX_EV_REQCHECK");
  std::uint8_t identifier = 0;
  obex_headerdata_t value{};
  std::uint32_t length = 0;
  while (OBEX_ObjectGetNextHeader(handle, object, &identifier, &value, &length) > 0) {
    if (identifier != OBEX_HDR_NAME || length == 0) continue;
    TRACE("\tNAME header");
    if (!isVCardName(value.bs, length)) {
      refuseAsNoVCard(object);
      return;
    }
  }
  OBEX_ObjectSetRsp(object, OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS);
}

void EventHandler::handleEventRequest(void** handle, void** object, int, int, int obex_cmd, int) {
  TRACE("\tOBEX_EV_REQ");
  TRACE_ENTRY("handleEventRequest");
  switch (obex_cmd) {
    case OBEX_CMD_CONNECT:
      TRACE("\tCONNECT request");
      handleConnectRequest(handle, object);
      break;
    case OBEX_CMD_DISCONNECT:
      TRACE("\tDISCONNECT request");
      OBEX_ObjectSetRsp(object, OBEX_RSP_SUCCESS, OBEX_RSP_SUCCESS);
      break;
    case OBEX_CMD_PUT:
      TRACE("\tPUT request");
      handlePutRequest(handle, object);
      break;
    default:
      TRACE("\tDenied %02x request", static_cast<unsigned>(obex_cmd));
      refuseAsNotImplemented(object);
      break;
  }
  TRACE_EXIT("handleEventRequest");
}

void EventHandler::handleEventProgress(void** handle, void** object, int, int, int obex_cmd, int) {
  TRACE("\tOBEX_EV_PROGRESS");
  if (obex_cmd != OBEX_CMD_PUT) return;
  TRACE("\tPUT");
  handlePutRequest(handle, object);
}

void EventHandler::handleEventLinkErr(void** handle, void**, int, int, int, int) {
  TRACE("\tOBEX_EV_LINKERR");
  auto* flags = static_cast<ServerLoopFlags*>(OBEX_GetUserData(handle));
  flags->resetRequested = 1;
  flags->stopRequested = 1;
}

void EventHandler::handleConnectRequest(void** handle, void** object) {
  std::uint8_t identifier = 0;
  obex_headerdata_t value{};
  std::uint32_t length = 0;
  while (OBEX_ObjectGetNextHeader(handle, object, &identifier, &value, &length) > 0) {
    if (identifier == OBEX_HDR_WHO) continue;
    TRACE("\t%s() Skipped header %02x", "handleEventRequest", static_cast<unsigned>(identifier));
  }
  OBEX_ObjectSetRsp(object, OBEX_RSP_SUCCESS, OBEX_RSP_SUCCESS);
}

void EventHandler::handlePutRequest(void** handle, void** object) {
  TRACE_ENTRY("handlePutRequest");
  const unsigned char* body = nullptr;
  int bodyLength = 0;
  std::uint8_t identifier = 0;
  obex_headerdata_t value{};
  std::uint32_t length = 0;
  while (OBEX_ObjectGetNextHeader(handle, object, &identifier, &value, &length) > 0) {
    switch (identifier) {
      case OBEX_HDR_BODY:
        TRACE("\t%s() Found l_body", "handlePutRequest");
        body = value.bs;
        bodyLength = static_cast<int>(length);
        TRACE("\t\n\nBODY BEGIN\n%.*s\nBODY END\n\n", body == nullptr ? 6 : bodyLength,
              body == nullptr ? "(null)" : reinterpret_cast<const char*>(body));
        break;
      case OBEX_HDR_TYPE:
        TRACE("\tTYPE header.");
        break;
      case OBEX_HDR_NAME:
        if (!isVCardName(value.bs, length)) {
          refuseAsNoVCard(object);
          return;
        }
        break;
      default:
        TRACE("\tSkipped header %02x", static_cast<unsigned>(identifier));
        break;
    }
  }
  if (body != nullptr) {
    parseBody(body, bodyLength);
  } else {
    TRACE("\tGot a PUT without a body");
  }
  OBEX_ObjectSetRsp(object, OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS);
  TRACE_EXIT("handlePutRequest");
}

void EventHandler::parseBody(const unsigned char* body, int length) {
  TRACE_ENTRY("parseBody");
  {
    CARD_Parser parser(m_service);
    if (parser.parse(body, length)) {
      forward(parser.getPhoneBookWriteMessage("utf-8"));
    } else {
      // Not null: set before the server's thread starts.
      m_service->errorVCard("");
    }
  }
  TRACE_EXIT("parseBody");
}

void EventHandler::forward(const std::string& message) {
  TRACE("\t\n\nXML MESSAGE BEGIN\n%s\nXML MESSAGE END\n\n", message.c_str());
  if (m_service == nullptr) return;
  TRACE("\tforwarding vCard...");
  m_service->forwardVCard(message);
  TRACE("\tdone.");
}
