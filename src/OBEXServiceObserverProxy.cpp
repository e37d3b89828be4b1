#include "OBEXServiceObserverProxy.h"

#include "Trace.h"
#include "framework/Method.h"
#include "framework/ProxyRequest.h"

namespace {

constexpr const char* kLogComponent = "OBEX Service";
constexpr const char* kLogSource = "./src/OBEXServiceObserverProxy.cpp";

}  // namespace

void* createOBEXServiceObserverProxy() { return static_cast<Proxy*>(new OBEXServiceObserverProxy); }

OBEXServiceObserverProxy::OBEXServiceObserverProxy() : m_request(nullptr) {}

OBEXServiceObserverProxy::~OBEXServiceObserverProxy() {
  TRACE_ENTRY("~OBEXServiceObserverProxy");
  TRACE_EXIT("~OBEXServiceObserverProxy");
}

void OBEXServiceObserverProxy::initProxy(ProxyRequest& request) { m_request = &request; }

void OBEXServiceObserverProxy::vCardReceived(const std::string& vcard, int count) {
  TRACE_ENTRY("vCardReceived");
  Method notification(VCARD_RECEIVED_EVENT, Method::NOTIFICATION);
  notification.addStringParameter(VCARD_RECEIVED_VCARD_PARAM, vcard, Parameter::IN);
  notification.addIntParameter(VCARD_COUNT_PARAM, count, Parameter::IN);
  m_request->send(notification);
  TRACE_EXIT("vCardReceived");
}

void OBEXServiceObserverProxy::vCardError(const std::string& error, int count) {
  TRACE_ENTRY("vCardError");
  Method notification(VCARD_ERROR_EVENT, Method::NOTIFICATION);
  notification.addStringParameter(VCARD_ERROR_ERROR_PARAM, error, Parameter::IN);
  notification.addIntParameter(VCARD_COUNT_PARAM, count, Parameter::IN);
  m_request->send(notification);
  TRACE_EXIT("vCardError");
}

void OBEXServiceObserverProxy::vCardDestRequest(const std::string& info) {
  TRACE_ENTRY("vCardDestRequest");
  Method notification(VCARD_DEST_REQUEST_EVENT, Method::NOTIFICATION);
  notification.addStringParameter(VCARD_DEST_REQUEST_INFO_PARAM, info, Parameter::IN);
  m_request->send(notification);
  TRACE_EXIT("vCardDestRequest");
}

void OBEXServiceObserverProxy::vCardSendSucc(const std::string& info) {
  TRACE_ENTRY("vCardSendSucc");
  Method notification(VCARD_SEND_SUCC_EVENT, Method::NOTIFICATION);
  notification.addStringParameter(VCARD_SEND_SUCC_INFO_PARAM, info, Parameter::IN);
  m_request->send(notification);
  TRACE_EXIT("vCardSendSucc");
}

void OBEXServiceObserverProxy::vCardSendErr(const std::string& info, const std::string& bda,
                                            int channel) {
  TRACE_ENTRY("vCardSendErr");
  Method notification(VCARD_SEND_ERR_EVENT, Method::NOTIFICATION);
  notification.addStringParameter(VCARD_SEND_ERR_INFO_PARAM, info, Parameter::IN);
  notification.addStringParameter(VCARD_SEND_ERR_BDA_PARAM, bda, Parameter::IN);
  notification.addIntParameter(VCARD_SEND_ERR_CHANNEL_PARAM, channel, Parameter::IN);
  m_request->send(notification);
  TRACE_EXIT("vCardSendErr");
}

void OBEXServiceObserverProxy::vCardAccept(const std::string& vcard) {
  TRACE_ENTRY("vCardAccept");
  Method notification(VCARD_ACCEPT_EVENT, Method::NOTIFICATION);
  notification.addStringParameter(VCARD_ACCEPT_VCARD_PARAM, vcard, Parameter::IN);
  m_request->send(notification);
  TRACE_EXIT("vCardAccept");
}
