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

/// Receives business cards from other devices, offers them to its observers and stores them in the
/// phonebook; sends contacts to other devices.
///
/// Threads: `init` and the operations of `OBEXServiceIfc` run on the framework thread;
/// `forwardVCard`, `errorVCard` and `writeFile` run on the push server's thread. `vCardQueueLock`
/// guards the card queue and is held while a batch is stored: a card that arrives meanwhile belongs
/// to the next batch. `observerLock` guards the observers and is held while they are notified. Lock
/// order: `vCardQueueLock`, then `observerLock`. Nothing else is locked.
///
/// Ownership: the framework owns the service. The service owns its push server and copies of what
/// it queues, but neither observers nor peer services. The order of virtual functions is ABI.
class OBEXService : public Service, public OBEXServiceIfc, public Threader, public OBEXStorage {
 public:
  // Phonebook columns that are compared to find duplicates.
  static const std::string FIRSTNAME;
  static const std::string SURNAME;
  static const std::string PRIVATE;
  static const std::string MOBILE;
  static const std::string OFFICE;
  static const std::string OFFICE2;

  OBEXService();
  /// Stops the push server and waits for its thread. Leaks a contact neither sent nor cancelled.
  ~OBEXService() override;

  /// Looks up the Directory Service and the Mobility Service.
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

  /// Writes a photo through the framework's storage and registers it with the Mobility Service.
  int writeFile(const char* data, int size, const std::string& path) override;

  /// Queues a received card, as a phonebook write message, and offers it to the observers.
  void forwardVCard(const std::string& message);
  /// Notifies the observers of an object that could not be parsed.
  void errorVCard(const std::string& text);

  /// Stores a card unless the phonebook has an entry with the same names and numbers. Returns
  /// whether the phonebook has it now.
  bool vCard2DirectoryService(const std::string& message);
  std::string createXMLBegin(const std::string& name);
  std::string createXMLClose(const std::string& name);
  /// Doesn't escape the value, which comes from a message where it is already escaped.
  std::string createXMLField(const std::string& name, const std::string& value);

  /// Asks the observers for the destination of the pending contact, if any.
  void sendContact();
  /// Notify the observers whether the pending contact was sent.
  void vCardSendSucc();
  void vCardSendErr();
  /// Object name of the pending contact.
  std::string createRemoteFilename();
  /// Short name of a contact for display.
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

/// Plug-in entry point: returns a new `Service*`, owned by the caller.
extern "C" FRAMEWORK_API void* createOBEXService();
