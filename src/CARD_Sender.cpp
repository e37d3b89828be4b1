#include "CARD_Sender.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "TextScan.h"
#include "Trace.h"
#include "openobex/openobex.h"

using namespace openobex;  // NOLINT: the OBEX functions keep their own names here
using textscan::hexDigit;

namespace {

constexpr const char* kLogComponent = "OBEX Service";
constexpr const char* kLogSource = "./src/CARD_Sender.cpp";

constexpr int kInputTimeoutSeconds = 10;
/// Room for the object's name in UTF-16, terminator included.
constexpr std::size_t kNameBuffer = 200;

constexpr const char* kWho = "Corvalind";
constexpr std::uint32_t kWhoLength = 6;
constexpr const char* kType = "vCard";
constexpr std::uint32_t kTypeLength = 5;

obex_headerdata_t bytes(const void* data) {
  obex_headerdata_t value{};
  value.bs = static_cast<const std::uint8_t*>(data);
  return value;
}

/// The log text of an event that is only logged, null for an unknown event.
const char* eventText(int event) {
  switch (event) {
    case OBEX_EV_PROGRESS:
      return "\tprogress event";
    case OBEX_EV_REQHINT:
      return "\tREQHINT";
    case OBEX_EV_REQ:
      return "\tREQ";
    case OBEX_EV_LINKERR:
      return "\tLink error: transfer canceled";
    case OBEX_EV_PARSEERR:
      return "\tPARSEERR";
    case OBEX_EV_ACCEPTHINT:
      return "\tACCEPTHINT";
    case OBEX_EV_ABORT:
      return "\tABORT";
    case OBEX_EV_STREAMEMPTY:
      return "\tSTREAMEMPTY";
    case OBEX_EV_STREAMAVAIL:
      return "\tSTREAMAVAIL";
    case OBEX_EV_UNEXPECTED:
      return "\tUNEXPECTED";
    case OBEX_EV_REQCHECK:
      return "\tREQCHECK";
    default:
      return nullptr;
  }
}

/// Logs the result of a request. Returns 1 if it failed.
int checkAnswer(const char* name, const char* request, int response) {
  TRACE_ENTRY(name);
  const bool failed = response != OBEX_RSP_SUCCESS;
  if (failed) {
    LOG_ERROR("\t%s failed.", request);
  } else {
    TRACE("\t%s ok.", request);
  }
  TRACE_EXIT(name);
  return failed ? 1 : 0;
}

/// The value of one or two hexadecimal digits, -1 for anything else.
int groupValue(const char* group, std::size_t length) {
  if (length < 1 || length > 2) return -1;
  int value = 0;
  for (std::size_t i = 0; i < length; ++i) {
    const int digit = hexDigit(group[i]);
    if (digit < 0) return -1;
    value = value * 16 + digit;
  }
  return value;
}

}  // namespace

int bt_aton(const char* text, bdaddr_t* address) {
  std::memset(address, 0, sizeof *address);
  for (int byte = 5; byte >= 0; --byte) {
    const char* colon = std::strchr(text, ':');
    // The first five groups end with a colon, the last one with the text.
    if ((colon != nullptr) != (byte > 0)) return 0;
    const std::size_t length =
        colon != nullptr ? static_cast<std::size_t>(colon - text) : std::strlen(text);
    const int value = groupValue(text, length);
    if (value < 0) return 0;
    address->b[byte] = static_cast<std::uint8_t>(value);
    text += length + 1;
  }
  return 1;
}

CARD_Sender::CARD_Sender(const std::string& vCard, std::string remoteAddress, int channel,
                         const std::string& remoteFilename)
    : m_vCard(vCard), m_remoteFilename(remoteFilename), m_channel(channel) {
  TRACE_ENTRY("CARD_Sender");
  bt_aton(remoteAddress.c_str(), &m_remoteAddress);
  init();
  TRACE_EXIT("CARD_Sender");
}

CARD_Sender::~CARD_Sender() {
  TRACE_ENTRY("~CARD_Sender");
  TRACE_EXIT("~CARD_Sender");
}

bool CARD_Sender::init() {
  TRACE_ENTRY("init");
  m_error = 0;
  m_handle = nullptr;
  TRACE_EXIT("init");
  return true;
}

int CARD_Sender::getError() {
  TRACE_ENTRY("getError");
  TRACE_EXIT("getError");
  return m_error;
}

bool CARD_Sender::fail() {
  m_error = 1;
  return false;
}

void CARD_Sender::run() {
  TRACE_ENTRY("run");
  m_error = 0;
  m_handle = OBEX_Init(OBEX_TRANS_BLUETOOTH, obex_event, 0);
  if (m_handle == nullptr) {
    LOG_ERROR("\tOBEX init");
    fail();
    return;
  }
  TRACE("\tCARD_Sender::run(): got m_handle = %p", static_cast<void*>(m_handle));
  SenderSyncFlags flags{};
  OBEX_SetUserData(m_handle, &flags);
  const bdaddr_t anyAdapter{};
  if (BtOBEX_TransportConnect(m_handle, &anyAdapter, &m_remoteAddress,
                              static_cast<std::uint8_t>(m_channel)) < 0) {
    // Leaks the handle, unlike the failures below.
    LOG_ERROR("\tOBEX transport connect");
    fail();
    return;
  }
  if (!connect_client()) {
    LOG_ERROR("\tconnect client failed");
    fail();
    OBEX_Cleanup(m_handle);
    return;
  }
  if (!put_client(m_vCard, m_remoteFilename)) {
    LOG_ERROR("\tput client failed");
    fail();
    OBEX_Cleanup(m_handle);
    return;
  }
  disconnect_client();
  if (flags.requestFailed) {
    LOG_ERROR("\tError occured during vCard sending");
    fail();
  }
  OBEX_Cleanup(m_handle);
  TRACE_EXIT("run");
}

bool CARD_Sender::syncwait() {
  TRACE_ENTRY("syncwait");
  auto* flags = static_cast<SenderSyncFlags*>(OBEX_GetUserData(m_handle));
  while (!flags->requestDone) {
    const int result = OBEX_HandleInput(m_handle, kInputTimeoutSeconds);
    if (result < 0) {
      LOG_ERROR("\tError while doing OBEX_HandleInput()\n");
      return fail();
    }
    if (result == 0) {
      std::puts("Timeout waiting for data. Aborting");
      std::fflush(stdout);
      OBEX_CancelRequest(m_handle, 0);
      return fail();
    }
  }
  flags->requestDone = 0;
  TRACE_EXIT("syncwait");
  return true;
}

bool CARD_Sender::connect_client() {
  TRACE_ENTRY("connect_client");
  void** object = OBEX_ObjectNew(m_handle, OBEX_CMD_CONNECT);
  if (object == nullptr) {
    LOG_ERROR("\tError\n");
    return fail();
  }
  if (OBEX_ObjectAddHeader(m_handle, object, OBEX_HDR_WHO, bytes(kWho), kWhoLength,
                           OBEX_FL_FIT_ONE_PACKET) < 0) {
    LOG_ERROR("\tError adding header.\n");
    OBEX_ObjectDelete(m_handle, object);
    return fail();
  }
  OBEX_Request(m_handle, object);
  return syncwait();
}

bool CARD_Sender::put_client(const std::string& data, const std::string& remoteFilename) {
  TRACE_ENTRY("put_client");
  // A name that doesn't fit is truncated; its conversion fails in any case.
  std::array<std::uint8_t, kNameBuffer> name{};
  std::memcpy(name.data(), remoteFilename.c_str(),
              std::min(remoteFilename.size(), name.size() - 1));
  const int nameLength =
      OBEX_CharToUnicode(name.data(), name.data(), static_cast<int>(name.size()));
  const auto size = static_cast<std::uint32_t>(data.size());
  TRACE("\tsending %d bytes: %s", static_cast<int>(size), data.c_str());
  TRACE("\tremote filename: %s, length: %d", remoteFilename.c_str(),
        static_cast<int>(remoteFilename.size()));
  void** object = OBEX_ObjectNew(m_handle, OBEX_CMD_PUT);
  obex_headerdata_t length{};
  length.bq4 = size;
  OBEX_ObjectAddHeader(m_handle, object, OBEX_HDR_LENGTH, length, sizeof length.bq4, 0);
  OBEX_ObjectAddHeader(m_handle, object, OBEX_HDR_NAME, bytes(name.data()),
                       static_cast<std::uint32_t>(nameLength), 0);
  OBEX_ObjectAddHeader(m_handle, object, OBEX_HDR_TYPE, bytes(kType), kTypeLength, 0);
  OBEX_ObjectAddHeader(m_handle, object, OBEX_HDR_BODY, bytes(data.data()), size, 0);
  OBEX_Request(m_handle, object);
  return syncwait();
}

void CARD_Sender::disconnect_client() {
  TRACE_ENTRY("disconnect_client");
  void** object = OBEX_ObjectNew(m_handle, OBEX_CMD_DISCONNECT);
  if (object == nullptr) {
    LOG_ERROR("\tError disconnecting client.\n");
    fail();
    return;
  }
  OBEX_Request(m_handle, object);
  syncwait();
  TRACE_EXIT("disconnect_client");
}

void CARD_Sender::obex_event(void** handle, void** object, int mode, int event, int obex_cmd,
                             int obex_rsp) {
  TRACE_ENTRY("obex_event");
  TRACE("\tCARD_Sender::obex_event(): using obex_handle = %p, event = %d",
        static_cast<void*>(handle), event);
  if (event == OBEX_EV_REQDONE) {
    if (mode == OBEX_MODE_CLIENT) client_done(object, obex_cmd, obex_rsp, handle);
  } else if (const char* text = eventText(event); text != nullptr) {
    TRACE("%s", text);
  } else {
    TRACE("\tUnknown event %02x!\n", static_cast<unsigned>(event));
  }
  TRACE_EXIT("obex_event");
}

void CARD_Sender::client_done(void** object, int obex_cmd, int obex_rsp, void** handle) {
  TRACE_ENTRY("client_done");
  auto* flags = static_cast<SenderSyncFlags*>(OBEX_GetUserData(handle));
  int failed = 0;
  switch (obex_cmd) {
    case OBEX_CMD_CONNECT:
      failed = connect_client_done(object, obex_rsp);
      break;
    case OBEX_CMD_DISCONNECT:
      failed = disconnect_client_done(object, obex_rsp);
      break;
    case OBEX_CMD_PUT:
      failed = put_client_done(object, obex_rsp);
      break;
    default:
      break;
  }
  flags->requestDone = 1;
  if (failed) flags->requestFailed = 1;
  TRACE_EXIT("client_done");
}

int CARD_Sender::connect_client_done(void**, int obex_rsp) {
  return checkAnswer("connect_client_done", "connect", obex_rsp);
}

int CARD_Sender::put_client_done(void**, int obex_rsp) {
  return checkAnswer("put_client_done", "put", obex_rsp);
}

int CARD_Sender::disconnect_client_done(void**, int obex_rsp) {
  return checkAnswer("disconnect_client_done", "disconnect", obex_rsp);
}
