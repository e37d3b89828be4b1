#include "OBEXService.h"

#include <unistd.h>

#include <algorithm>
#include <ios>
#include <memory>
#include <new>
#include <utility>

#include "CARD_Creator.h"
#include "CARD_Sender.h"
#include "OBEXServer.h"
#include "Trace.h"
#include "framework/ClientUtils.h"
#include "framework/Context.h"
#include "framework/DirectoryServiceIfc.h"
#include "framework/GPALSleep.h"
#include "framework/GPALThreadPriority.h"
#include "framework/MobilityServiceIfc.h"
#include "framework/MultiByteString.h"
#include "framework/Storage.h"

namespace {

constexpr const char* kLogComponent = "OBEX Service";
constexpr const char* kLogSource = "./src/OBEXService.cpp";

const std::string LDAP_PICTURE = "/tmp/ldappic";

constexpr int kForEver = -1;
constexpr int kThreadPriority = 1;
constexpr useconds_t kPauseBeforeOutcome = 500000;
constexpr int kPauseBetweenRounds = 500;  // milliseconds
constexpr std::size_t kInfoCharacters = 24;

const std::string READ_REQUEST_HEAD =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>"
    "read_request</ReasonForMessage><ResultCols>Surname Firstname Office Mobile Private "
    "DefaultNumber Office2 Picture</ResultCols><Entry>";
const std::string READ_REQUEST_TAIL = "</Entry></Schema>";

/// Cuts a long name and appends "...".
std::string shorten(const std::string& name) {
  std::string part = mb_substr(name, 0, kInfoCharacters);
  if (part.size() < name.size()) part += "...";
  return part;
}

bool isControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 32 || byte == 127;
}

}  // namespace

const std::string OBEXService::FIRSTNAME = "Firstname";
const std::string OBEXService::SURNAME = "Surname";
const std::string OBEXService::PRIVATE = "Private";
const std::string OBEXService::MOBILE = "Mobile";
const std::string OBEXService::OFFICE = "Office";
const std::string OBEXService::OFFICE2 = "Office2";

void* createOBEXService() { return static_cast<Service*>(new OBEXService); }

// Lifecycle

OBEXService::OBEXService()
    : context(nullptr),
      obexServer(nullptr),
      directoryService(nullptr),
      mobilityService(nullptr),
      serverThreadId(0),
      serverRunning(false),
      observerLock(1, 1, false),
      vCardQueueLock(1, 1, false),
      allStored(true) {
  TRACE_ENTRY("OBEXService");
  TRACE_EXIT("OBEXService");
}

OBEXService::~OBEXService() {
  TRACE_ENTRY("~OBEXService");
  OBEXService::OBEXServerEnable(false);
  directoryService = nullptr;
  TRACE_EXIT("~OBEXService");
}

void OBEXService::init(Context& newContext) {
  TRACE_ENTRY("init");
  // The framework may pass a null reference; volatile keeps the compiler from dropping the check.
  Context* volatile given = &newContext;
  context = given;
  if (context == nullptr) {
    LOG_ERROR("\tOBEX initialization failed: no context.");
    return;
  }
  Executable* directory = context->getService(DIRECTORY_SERVICE_IFC);
  if (directory == nullptr) {
    LOG_ERROR("\t\tDS INITIALIZATION ERROR.\n");
    return;
  }
  directoryService = dynamic_cast<DirectoryServiceIfc*>(directory);
  Executable* mobility = context->getService(MOBILITY_SERVICE_IFC);
  if (mobility == nullptr) {
    LOG_ERROR("\t\tMS INITIALIZATION ERROR.\n");
    return;
  }
  mobilityService = dynamic_cast<MobilityServiceIfc*>(mobility);
  TRACE_EXIT("init");
}

// Observers

bool OBEXService::subscribe(OBEXServiceObserverIfc* observer) {
  TRACE_ENTRY("subscribe");
  if (observer == nullptr) {
    TRACE_EXIT("subscribe");
    return false;
  }
  observerLock.take(kForEver);
  observers.push_back(observer);
  observerLock.give();
  TRACE_EXIT("subscribe");
  return true;
}

bool OBEXService::unsubscribe(OBEXServiceObserverIfc* observer) {
  TRACE_ENTRY("unsubscribe");
  observerLock.take(kForEver);
  const auto found = std::find(observers.begin(), observers.end(), observer);
  const bool result = found != observers.end();
  if (result) observers.erase(found);
  observerLock.give();
  TRACE_EXIT("unsubscribe");
  return result;
}

// The push server

void OBEXService::OBEXServerEnable(bool enable) {
  TRACE_ENTRY("OBEXServerEnable");
  TRACE("\t\tOBEX Server was set to %d", enable ? 1 : 0);
  if (!enable) {
    if (serverThreadId != 0 && serverRunning) stopServer();
  } else if (!serverRunning) {
    // Leaks a server whose thread could not be spawned before.
    obexServer = new (std::nothrow) OBEXServer;
    if (obexServer == nullptr) {
      LOG_ERROR("\tOBEX server creation error.");
      return;
    }
    startServer();
  }
  TRACE_EXIT("OBEXServerEnable");
}

void OBEXService::startServer() {
  obexServer->setOBEXService(this);
  obexServer->setEnable(true);
  serverRunning =
      threader.spawn(serverThreadId, obexServer, "", GPALThreadPriority(kThreadPriority), 0);
  TRACE("\tspawning thread with result %d", serverRunning ? 1 : 0);
}

void OBEXService::stopServer() {
  TRACE("\tkilling thread");
  obexServer->setEnable(false);
  serverRunning = false;
  obexServer->waitForThreadCompletion();
  threader.destroy(serverThreadId);
  serverThreadId = 0;
  delete obexServer;
  obexServer = nullptr;
}

// Received cards

void OBEXService::forwardVCard(const std::string& message) {
  TRACE_ENTRY("forwardVCard");
  vCardQueueLock.take(kForEver);
  vCardQueue.push_back(message);
  observerLock.take(kForEver);
  for (OBEXServiceObserverIfc* observer : observers) {
    // No error, but logged as one so that every log shows the offer.
    LOG_ERROR("\t\tsending vCard accept request to observers...\n");
    observer->vCardAccept(message);
  }
  observerLock.give();
  vCardQueueLock.give();
  TRACE_EXIT("forwardVCard");
}

void OBEXService::errorVCard(const std::string& text) {
  TRACE_ENTRY("errorVCard");
  observerLock.take(kForEver);
  for (OBEXServiceObserverIfc* observer : observers) {
    TRACE("\tsending vCard to observer...");
    observer->vCardError(text, 1);
  }
  observerLock.give();
  TRACE_EXIT("errorVCard");
}

void OBEXService::vCardsAccepted() {
  TRACE_ENTRY("vCardsAccepted");
  vCardQueueLock.take(kForEver);
  allStored = true;
  for (const std::string& message : vCardQueue) {
    if (!vCard2DirectoryService(message)) {
      LOG_ERROR("\tError stroring vCard to Directory Service.");
      allStored = false;
    }
  }
  usleep(kPauseBeforeOutcome);
  observerLock.take(kForEver);
  const std::string first = vCardQueue.empty() ? std::string() : vCardQueue.front();
  const int count = static_cast<int>(vCardQueue.size());
  for (OBEXServiceObserverIfc* observer : observers) {
    if (allStored) {
      observer->vCardReceived(first, count);
    } else {
      observer->vCardError(first, count);
    }
  }
  observerLock.give();
  vCardQueue.clear();
  vCardQueueLock.give();
  TRACE_EXIT("vCardsAccepted");
}

void OBEXService::vCardsAcceptFinished() {
  TRACE_ENTRY("vCardsAcceptFinished");
  TRACE_EXIT("vCardsAcceptFinished");
}

void OBEXService::vCardsRejected() {
  TRACE_ENTRY("vCardsRejected");
  vCardQueueLock.take(kForEver);
  vCardQueue.clear();
  vCardQueueLock.give();
  TRACE_EXIT("vCardsRejected");
}

int OBEXService::writeFile(const char* data, int size, const std::string& path) {
  Storage storage;
  if (!storage.init(path.c_str(), std::ios_base::in | std::ios_base::binary,
                    std::ios_base::out | std::ios_base::binary)) {
    LOG_ERROR("\tNot possible to initialize storage for saving file with photo.\n");
    return 0;
  }
  const bool stored = storage.store(nullptr, const_cast<char*>(data), size);
  storage.shutdown();
  if (!stored) {
    LOG_ERROR("\tNot possible to store photo into the file.");
    return 0;
  }
  if (mobilityService != nullptr) mobilityService->registerFile(path);
  return 1;
}

// The phonebook

bool OBEXService::vCard2DirectoryService(const std::string& message) {
  TRACE_ENTRY("vCard2DirectoryService");
  if (directoryService == nullptr) {
    TRACE_EXIT("vCard2DirectoryService");
    return false;
  }
  std::string response = directoryService->handleRequest(createReadRequest(message));
  std::string entry;
  if (ClientUtils::extractValueFromXMLString(response, "Entry", entry) == 1) {
    std::string surname;
    std::string firstname;
    ClientUtils::extractValueFromXMLString(message, SURNAME, surname);
    ClientUtils::extractValueFromXMLString(message, FIRSTNAME, firstname);
    TRACE("\tENTRY [%s, %s] present, omitting...", surname.c_str(), firstname.c_str());
    return true;
  }
  TRACE("\tNew phonebook entry is to be created");
  response = directoryService->handleRequest(message);
  TRACE("\t\tDS REQUEST RESPONSE: %s", response.c_str());
  if (response.find("failure") != std::string::npos) {
    TRACE_EXIT("vCard2DirectoryService");
    return false;
  }
  return true;
}

/// A request for entries with the same names and numbers as the message.
std::string OBEXService::createReadRequest(const std::string& message) {
  std::string request = READ_REQUEST_HEAD;
  for (const std::string* column : {&FIRSTNAME, &SURNAME, &MOBILE, &PRIVATE, &OFFICE, &OFFICE2}) {
    std::string value;
    ClientUtils::extractValueFromXMLString(message, *column, value);
    request += createXMLField(*column, value);
  }
  return request + READ_REQUEST_TAIL;
}

std::string OBEXService::createXMLBegin(const std::string& name) { return "<" + name + ">"; }

std::string OBEXService::createXMLClose(const std::string& name) { return "</" + name + ">"; }

std::string OBEXService::createXMLField(const std::string& name, const std::string& value) {
  return createXMLBegin(name) + value + createXMLClose(name);
}

// Sending contacts

void OBEXService::sendContact(const obex_phonebook_data_t& contact) {
  TRACE_ENTRY("sendContact");
  // Contacts neither sent nor cancelled are leaked.
  std::queue<obex_phonebook_data_t*>().swap(contactQueue);
  contactQueue.push(new obex_phonebook_data_t(contact));
  sendContact();
  TRACE_EXIT("sendContact");
}

void OBEXService::sendContact() {
  TRACE_ENTRY("sendContact");
  if (contactQueue.empty()) return;
  observerLock.take(kForEver);
  for (OBEXServiceObserverIfc* observer : observers) {
    TRACE("\tsending DESTINATION request.");
    observer->vCardDestRequest(createInfoString(contactQueue.front()));
  }
  observerLock.give();
  TRACE_EXIT("sendContact");
}

void OBEXService::sendVCard(const std::string& address, int channel) {
  TRACE_ENTRY("sendVCard");
  destinationAddress = address;
  TRACE("\tBDADDR: %s, CHANNEL: %d", address.c_str(), channel);
  if (contactQueue.empty()) {
    LOG_ERROR("\tvCard queue empty! Shouldn't be...");
    return;
  }
  CARD_Creator creator;
  const std::string card = creator.createVCard(*contactQueue.front());
  TRACE("\tCreated vCARD\n%s\n", card.c_str());
  auto sender = std::make_unique<CARD_Sender>(card, address, channel, createRemoteFilename());
  if (push(*sender)) {
    vCardSendSucc();
    delete contactQueue.front();
    contactQueue.pop();
    sendContact();
  } else {
    vCardSendErr();
  }
  sender.reset();
  TRACE_EXIT("sendVCard");
}

/// Runs the sender and waits for it. A sender that could not be spawned counts as successful.
bool OBEXService::push(CARD_Sender& sender) {
  unsigned long threadId = 0;
  const bool spawned =
      threader.spawn(threadId, &sender, "", GPALThreadPriority(kThreadPriority), 0);
  TRACE("\tspawning thread with result %d", spawned ? 1 : 0);
  sender.waitForThreadCompletion();
  return sender.getError() == 0;
}

void OBEXService::cancelVCard() {
  TRACE_ENTRY("cancelVCard");
  if (!contactQueue.empty()) {
    delete contactQueue.front();
    contactQueue.pop();
  }
  destinationAddress = "";
  TRACE_EXIT("cancelVCard");
}

void OBEXService::cancelTransmission() {
  TRACE_ENTRY("cancelTransmission");
  TRACE_EXIT("cancelTransmission");
}

/// Notifies twice: the admin phonelet waits for the notification without text.
void OBEXService::vCardSendSucc() {
  TRACE_ENTRY("vCardSendSucc");
  observerLock.take(kForEver);
  obex_phonebook_data_t* contact = contactQueue.front();
  for (OBEXServiceObserverIfc* observer : observers) {
    TRACE("\tsending empty SUCC information to notify admin phonelet.");
    observer->vCardSendSucc("");
  }
  GPALSleep().milliSleep(kPauseBetweenRounds);
  for (OBEXServiceObserverIfc* observer : observers) {
    TRACE("\tsending SUCC information.");
    observer->vCardSendSucc(createInfoString(contact));
  }
  observerLock.give();
  TRACE_EXIT("vCardSendSucc");
}

void OBEXService::vCardSendErr() {
  TRACE_ENTRY("vCardSendErr");
  observerLock.take(kForEver);
  obex_phonebook_data_t* contact = contactQueue.front();
  for (OBEXServiceObserverIfc* observer : observers) {
    TRACE("\tsending ERR information.");
    observer->vCardSendErr(createInfoString(contact), destinationAddress, 0);
  }
  observerLock.give();
  TRACE_EXIT("vCardSendErr");
}

std::string OBEXService::createRemoteFilename() {
  if (contactQueue.empty()) return "";
  const obex_phonebook_data_t& contact = *contactQueue.front();
  std::string name = contact.surname + contact.firstname;
  if (name.empty()) name = "vcard";
  return name + VCARD_FILE_SUFFIX;
}

std::string OBEXService::createInfoString(obex_phonebook_data_t* contact) {
  TRACE_ENTRY("createInfoString");
  std::string info = shorten(contact->surname);
  if (!info.empty() && !contact->firstname.empty()) info += ", ";
  info += shorten(contact->firstname);
  std::replace_if(info.begin(), info.end(), isControl, ' ');
  return info;
}
