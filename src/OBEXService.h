#pragma once

#include <deque>
#include <queue>
#include <string>
#include <vector>

#include "OBEXServiceIfc.h"
#include "OBEXStorage.h"
#include "framework/Export.h"
#include "framework/Semaphore.h"
#include "framework/Service.h"
#include "framework/Threader.h"

class CARD_Sender;
class Context;
class DirectoryServiceIfc;
class MobilityServiceIfc;
class OBEXServer;

/// The service: receives business cards from other devices, offers them to its observers and stores
/// them in the telephone's phonebook; sends contacts.
///
/// Threads: the framework thread runs `init` and every operation of `OBEXServiceIfc`; the push
/// server's thread runs `forwardVCard`, `errorVCard` and `writeFile`. `vCardQueueLock` guards the
/// cards that wait and is kept while a batch is stored, so that a card arriving meanwhile belongs
/// to the next one; `observerLock` guards the observers and is kept for every round of
/// notifications. Where both are held, `vCardQueueLock` is taken first. Nothing else is locked.
///
/// Ownership: the framework owns the service. The service owns its push server, and copies of what
/// it queues; not its observers nor the services that it uses. The order of the virtual operations
/// is relied on by other binaries.
class OBEXService : public Service, public OBEXServiceIfc, public Threader, public OBEXStorage {
 public:
  // The phonebook's columns that tell whether a card is there already.
  static const std::string FIRSTNAME;
  static const std::string SURNAME;
  static const std::string PRIVATE;
  static const std::string MOBILE;
  static const std::string OFFICE;
  static const std::string OFFICE2;

  OBEXService();
  /// Stops the push server and waits for its thread. Contacts that were never sent nor cancelled
  /// stay allocated.
  ~OBEXService() override;

  /// Finds the Directory Service and the Mobility Service.
  void init(Context& context) override;
  void shutdown() override {}
  void run() override {}

  void OBEXServerEnable(bool enable) override;
  bool subscribe(OBEXServiceObserverIfc* observer) override;
  bool unsubscribe(OBEXServiceObserverIfc* observer) override;
  void sendContact(const obex_phonebook_data_t& contact) override;
  void sendVCard(const std::string& address, int channel) override;
  void cancelVCard() override;
  void cancelTransmission() override;
  void vCardsAccepted() override;
  void vCardsAcceptFinished() override;
  void vCardsRejected() override;

  /// Writes a photo through the framework's storage and tells the Mobility Service of it.
  int writeFile(const char* data, int size, const std::string& path) override;

  /// Queues a received card, given as its phonebook write message, and asks the observers whether
  /// to store it.
  void forwardVCard(const std::string& message);
  /// Tells the observers that an object could not be read.
  void errorVCard(const std::string& text);

  /// Stores a card unless an entry of the same names and numbers is there. True when it is in the
  /// phonebook afterwards.
  bool vCard2DirectoryService(const std::string& message);
  std::string createXMLBegin(const std::string& name);
  std::string createXMLClose(const std::string& name);
  /// The value is not escaped: it comes from a message where it is.
  std::string createXMLField(const std::string& name, const std::string& value);

  /// Asks the observers for a destination of the pending contact, if there is one.
  void sendContact();
  /// Tell the observers that the pending contact was sent, or was not.
  void vCardSendSucc();
  void vCardSendErr();
  /// The name under which the pending contact is sent.
  std::string createRemoteFilename();
  /// A contact as a short text for people.
  std::string createInfoString(obex_phonebook_data_t* contact);

 private:
  void startServer();
  void stopServer();
  std::string createReadRequest(const std::string& message);
  bool push(CARD_Sender& sender);

  Context* context;
  OBEXServer* obexServer;
  DirectoryServiceIfc* directoryService;
  MobilityServiceIfc* mobilityService;
  unsigned long serverThreadId;
  Threader threader;
  bool serverRunning;
  std::string destinationAddress;
  std::vector<OBEXServiceObserverIfc*> observers;
  std::queue<obex_phonebook_data_t*> contactQueue;
  std::deque<std::string> vCardQueue;
  Semaphore observerLock;
  Semaphore vCardQueueLock;
  bool allStored;
};

/// The framework's way in: a new service as `Service*`, owned by the caller.
extern "C" FRAMEWORK_API void* createOBEXService();
