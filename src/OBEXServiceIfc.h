#pragma once

#include <string>

#include "OBEXStorage.h"

// Shared by the service and its clients: the interfaces of the service and its observers, the
// contact record, and the names of messages and parameters.

/// A contact to be sent as a business card. Fields are UTF-8; empty means not given.
struct obex_phonebook_data_t {
  std::string firstname;
  std::string surname;
  /// Preferred number: exactly "Office", "Office2", "Mobile" or "Private"; anything else is none.
  std::string defaultnumber;
  std::string office;
  std::string office2;
  std::string mobile;
  std::string privatenumber;
  std::string email;
  std::string address;   ///< free text
  std::string address2;  ///< free text
  std::string company;
  std::string jobfunction;
  /// JPEG picture: a path, or a name in "/data/images/".
  std::string picture;

  obex_phonebook_data_t() = default;
  obex_phonebook_data_t(const obex_phonebook_data_t& other);
  obex_phonebook_data_t& operator=(const obex_phonebook_data_t& other) = default;
  ~obex_phonebook_data_t() = default;
};

/// Notifications of the service; see `OBEXServiceIfc::subscribe`. Cards are passed as phonebook
/// write messages (XML).
///
/// Threads: called from the framework thread and the push server's thread, one call at a time, with
/// the observers' lock held: an observer must not subscribe or unsubscribe inside a call. The order
/// of virtual functions is part of the ABI.
class OBEXServiceObserverIfc {
 public:
  /// A batch of `count` cards was stored; `vcard` is the first of them.
  virtual void vCardReceived(const std::string& vcard, int count) = 0;
  /// An object could not be parsed (empty text, count 1), or at least one of a batch of `count`
  /// cards could not be stored; `error` is then the first card.
  virtual void vCardError(const std::string& error, int count) = 0;
  /// Asks for the destination of a contact. Answer with `sendVCard` or `cancelVCard`.
  virtual void vCardDestRequest(const std::string& info) = 0;
  /// The contact was sent. Called twice, first with an empty text.
  virtual void vCardSendSucc(const std::string& info) = 0;
  /// The contact could not be sent to the device `bda`; `channel` is always 0.
  virtual void vCardSendErr(const std::string& info, const std::string& bda, int channel) = 0;
  /// A card was received and queued. Answer with `vCardsAccepted` or `vCardsRejected`.
  virtual void vCardAccept(const std::string& vcard) = 0;

 protected:
  ~OBEXServiceObserverIfc() = default;
};

/// Operations for clients.
///
/// Threads: called from the framework thread, one call at a time. The order of virtual functions is
/// part of the ABI.
class OBEXServiceIfc {
 public:
  /// Starts or stops the push server. Stopping waits for the server's thread.
  virtual void OBEXServerEnable(bool enable) = 0;
  /// Adds an observer, not owned; one added twice is notified twice. Returns false for null.
  virtual bool subscribe(OBEXServiceObserverIfc* observer) = 0;
  /// Removes an observer once. Returns false if it was not subscribed.
  virtual bool unsubscribe(OBEXServiceObserverIfc* observer) = 0;
  /// Makes a copy of the contact the pending one, replacing any other, and asks the observers for a
  /// destination.
  virtual void sendContact(const obex_phonebook_data_t& contact) = 0;
  /// Sends the pending contact to a Bluetooth address ("00:11:22:33:44:55") and RFCOMM channel.
  /// Returns after the transfer; the observers are notified of its result.
  virtual void sendVCard(const std::string& bda, int channel) = 0;
  /// Drops the pending contact.
  virtual void cancelVCard() = 0;
  /// Does nothing: a transfer can't be interrupted.
  virtual void cancelTransmission() = 0;
  /// Stores the queued cards and notifies the observers of the result.
  virtual void vCardsAccepted() = 0;
  /// Does nothing.
  virtual void vCardsAcceptFinished() = 0;
  /// Discards the queued cards.
  virtual void vCardsRejected() = 0;

 protected:
  ~OBEXServiceIfc() = default;
};

// Names of messages and parameters. Each message has its own constants, even for equal names.

const std::string OBEX_RESULT_RETURN = "obexbResultReturn";

const std::string OBEX_ENABLE_EVENT = "obexEnableEvent";
const std::string OBEX_ENABLE_RETURN = "obexEnableReturn";
const std::string OBEX_ENABLE_PARAM = "obexEnableParam";

const std::string SUBSCRIBE_EVENT = "subscribeEvent";
const std::string SUBSCRIBE_EVENT_RETURN = "subscribeEventReturn";
const std::string UNSUBSCRIBE_EVENT = "unsubscribeEvent";
const std::string UNSUBSCRIBE_EVENT_RETURN = "unsubscribeEventReturn";

const std::string VCARD_RECEIVED_EVENT = "vCardReceivedEvent";
const std::string VCARD_RECEIVED_VCARD_PARAM = "vCardiParam";
const std::string VCARD_ERROR_EVENT = "vCardErrorEvent";
const std::string VCARD_ERROR_ERROR_PARAM = "errorParam";
const std::string VCARD_COUNT_PARAM = "countParam";

const std::string VCARD_DEST_REQUEST_EVENT = "vCardDestRequestEvent";
const std::string VCARD_DEST_REQUEST_INFO_PARAM = "infoParam";
const std::string VCARD_SEND_SUCC_EVENT = "vCardSendSuccEvent";
const std::string VCARD_SEND_SUCC_INFO_PARAM = "infoParam";
const std::string VCARD_SEND_ERR_EVENT = "vCardSendErrEvent";
const std::string VCARD_SEND_ERR_INFO_PARAM = "infoParam";
const std::string VCARD_SEND_ERR_BDA_PARAM = "bdaParam";
const std::string VCARD_SEND_ERR_CHANNEL_PARAM = "channelParam";

const std::string VCARD_SEND_EVENT = "vCardSendEvent";
const std::string VCARD_SEND_BDA_PARAM = "bdaParam";
const std::string VCARD_SEND_CHANNEL_PARAM = "channelParam";
const std::string VCARD_CANCEL_EVENT = "vCardCancelEvent";
const std::string VCARD_CANCEL_TRANSMISSION_EVENT = "vCardCancelTransmissionEvent";

const std::string VCARDS_ACCEPTED_EVENT = "vCardsAcceptedEvent";
const std::string VCARDS_ACCEPT_FINISHED_EVENT = "vCardsAcceptFinishedEvent";
const std::string VCARDS_REJECTED_EVENT = "vCardsRejectedEvent";
const std::string VCARD_ACCEPT_EVENT = "vCardAcceptEvent";
const std::string VCARD_ACCEPT_VCARD_PARAM = "acceptParam";

const std::string VCARD_SEND_CONTACT_EVENT = "vCardSendContactEvent";
const std::string CONTACT_FIRSTNAME_PARAM = "firstnameParam";
const std::string CONTACT_SURNAME_PARAM = "surnameParam";
const std::string CONTACT_DEFAULTNUMBER_PARAM = "defaultnumberParam";
const std::string CONTACT_OFFICE_PARAM = "officeParam";
const std::string CONTACT_OFFICE2_PARAM = "office2Param";
const std::string CONTACT_MOBILE_PARAM = "mobileParam";
const std::string CONTACT_PRIVATE_PARAM = "privateParam";
const std::string CONTACT_EMAIL_PARAM = "emailParam";
const std::string CONTACT_ADDRESS_PARAM = "addressParam";
const std::string CONTACT_ADDRESS2_PARAM = "address2Param";
const std::string CONTACT_COMPANY_PARAM = "companyParam";
const std::string CONTACT_JOBFUNCTION_PARAM = "jobfunctionParam";
const std::string CONTACT_PICTURE_PARAM = "pictureParam";

/// Extension of the object name of a sent contact.
const std::string VCARD_FILE_SUFFIX = ".vcf";

// Names for looking up peer services and observers' proxies.
const std::string DIRECTORY_SERVICE_IFC = "DirectoryServiceIfc";
const std::string MOBILITY_SERVICE_IFC = "MobilityServiceIfc";
const std::string OBEX_SERVICE_OBSERVER_IFC = "OBEXServiceObserverIfc";
