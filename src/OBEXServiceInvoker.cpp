#include "OBEXServiceInvoker.h"

#include <sstream>
#include <string>

#include "OBEXServiceIfc.h"
#include "Trace.h"
#include "framework/Executable.h"
#include "framework/FrameworkContext.h"
#include "framework/InvokerResponse.h"
#include "framework/MessageSerializer.h"
#include "framework/Method.h"
#include "framework/Proxy.h"

namespace {

constexpr const char* kLogComponent = "OBEX Service";
constexpr const char* kLogSource = "./src/OBEXServiceInvoker.cpp";

constexpr int kDecoded = 1;

void callServerEnable(OBEXServiceIfc& service, const Method& request) {
  bool enable = false;
  if (request.getBoolParameter(OBEX_ENABLE_PARAM, enable, Parameter::IN)) {
    service.OBEXServerEnable(enable);
  }
}

void callSendVCard(OBEXServiceIfc& service, const Method& request) {
  std::string address;
  int channel = -1;
  if (request.getStringParameter(VCARD_SEND_BDA_PARAM, address, Parameter::IN) &&
      request.getIntParameter(VCARD_SEND_CHANNEL_PARAM, channel, Parameter::IN)) {
    service.sendVCard(address, channel);
  }
}

/// Missing parameters leave their fields empty.
void callSendContact(OBEXServiceIfc& service, const Method& request) {
  obex_phonebook_data_t contact;
  const auto read = [&request](const std::string& parameter, std::string& field) {
    request.getStringParameter(parameter, field, Parameter::IN);
  };
  read(CONTACT_FIRSTNAME_PARAM, contact.firstname);
  read(CONTACT_SURNAME_PARAM, contact.surname);
  read(CONTACT_DEFAULTNUMBER_PARAM, contact.defaultnumber);
  read(CONTACT_OFFICE_PARAM, contact.office);
  read(CONTACT_OFFICE2_PARAM, contact.office2);
  read(CONTACT_MOBILE_PARAM, contact.mobile);
  read(CONTACT_PRIVATE_PARAM, contact.privatenumber);
  read(CONTACT_EMAIL_PARAM, contact.email);
  read(CONTACT_ADDRESS_PARAM, contact.address);
  read(CONTACT_ADDRESS2_PARAM, contact.address2);
  read(CONTACT_COMPANY_PARAM, contact.company);
  read(CONTACT_JOBFUNCTION_PARAM, contact.jobfunction);
  read(CONTACT_PICTURE_PARAM, contact.picture);
  service.sendContact(contact);
}

/// Dispatches a message that has no reply. Returns false for an unknown name.
bool callOperation(OBEXServiceIfc& service, const Method& request) {
  const std::string& name = request.getName();
  if (name == OBEX_ENABLE_EVENT) {
    callServerEnable(service, request);
  } else if (name == VCARD_SEND_EVENT) {
    callSendVCard(service, request);
  } else if (name == VCARD_SEND_CONTACT_EVENT) {
    callSendContact(service, request);
  } else if (name == VCARD_CANCEL_EVENT) {
    service.cancelVCard();
  } else if (name == VCARD_CANCEL_TRANSMISSION_EVENT) {
    service.cancelTransmission();
  } else if (name == VCARDS_ACCEPTED_EVENT) {
    service.vCardsAccepted();
  } else if (name == VCARDS_ACCEPT_FINISHED_EVENT) {
    service.vCardsAcceptFinished();
  } else if (name == VCARDS_REJECTED_EVENT) {
    service.vCardsRejected();
  } else {
    return false;
  }
  return true;
}

}  // namespace

void* createOBEXServiceInvoker() { return static_cast<Invoker*>(new OBEXServiceInvoker); }

OBEXServiceInvoker::OBEXServiceInvoker() : m_context(nullptr) {}

OBEXServiceInvoker::~OBEXServiceInvoker() {
  TRACE_ENTRY("~OBEXServiceInvoker");
  TRACE_EXIT("~OBEXServiceInvoker");
}

void OBEXServiceInvoker::initInvoker(FrameworkContext* context) { m_context = context; }

void OBEXServiceInvoker::handleMessage(Executable* executable, const char* data, int length,
                                       InvokerResponse* response) {
  TRACE_ENTRY("handleMessage");
  auto* service = dynamic_cast<OBEXServiceIfc*>(executable);
  if (service == nullptr) {
    LOG_ERROR("\tCould not cast executable to OBEXServiceIfc.");
  } else if (response != nullptr) {
    decodeAndDispatch(*service, data, length, *response);
  }
  delete response;
  TRACE_EXIT("handleMessage");
}

void OBEXServiceInvoker::decodeAndDispatch(OBEXServiceIfc& service, const char* data, int length,
                                           InvokerResponse& response) {
  std::stringstream stream;
  Method request;
  MessageSerializer* serializer = m_context->getSerializer(response.getFormat());
  stream.write(data, length);
  if (serializer == nullptr || serializer->decode(stream, request) != kDecoded) return;
  TRACE("\thandleMessage called: %s", stream.str().c_str());
  if (request.getName() == SUBSCRIBE_EVENT || request.getName() == UNSUBSCRIBE_EVENT) {
    handleSubscription(service, request, *serializer, response);
  } else if (!callOperation(service, request)) {
    LOG_ERROR("\tInvalid Message, %s", stream.str().c_str());
  }
}

void OBEXServiceInvoker::handleSubscription(OBEXServiceIfc& service, const Method& request,
                                            MessageSerializer& serializer,
                                            InvokerResponse& response) {
  Proxy* proxy = m_context->getProxy(OBEX_SERVICE_OBSERVER_IFC, response.getCallerAddress());
  auto* observer = dynamic_cast<OBEXServiceObserverIfc*>(proxy);
  const bool subscribing = request.getName() == SUBSCRIBE_EVENT;
  const bool result = subscribing ? service.subscribe(observer) : service.unsubscribe(observer);

  Method reply(request.getName(), Method::REPLY);
  reply.addBoolParameter(subscribing ? SUBSCRIBE_EVENT_RETURN : UNSUBSCRIBE_EVENT_RETURN, result,
                         Parameter::OUT);
  std::stringstream stream;
  serializer.encode(reply, stream);
  const std::string bytes = stream.str();
  response.send(bytes.data(), static_cast<int>(bytes.size()));
}
