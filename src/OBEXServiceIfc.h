#pragma once

#include <string>

#include "OBEXStorage.h"

// What every part of the service and its clients share: the service's interface, its observers'
// interface, the contact record, and the names under which calls travel between processes.

/// A contact to be sent as a business card. All fields are UTF-8; an empty one is not given. A
/// plain value: whoever creates a record owns it.
struct obex_phonebook_data_t {
  std::string firstname;
  std::string surname;
  /// Which number is the preferred one: exactly "Office", "Office2", "Mobile" or "Private";
  /// anything else is none.
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
  /// Path, or name beneath "/data/images/", of a JPEG picture.
  std::string picture;

  obex_phonebook_data_t() = default;
  obex_phonebook_data_t(const obex_phonebook_data_t& other);
  obex_phonebook_data_t& operator=(const obex_phonebook_data_t& other) = default;
  ~obex_phonebook_data_t() = default;
};

/// What the service tells: implemented by whoever wants to know, subscribed with
/// `OBEXServiceIfc::subscribe`.
///
/// Threads: called from the framework thread and from the push server's thread, one call at a time.
/// An observer must not subscribe or unsubscribe from inside a call, since the service holds its
/// observers' lock. A card travels as the phonebook write message, an XML text. The order of the
/// operations is relied on by other binaries.
class OBEXServiceObserverIfc {
 public:
  /// A batch of `count` cards is in the phonebook now; `vcard` is the first of them.
  virtual void vCardReceived(const std::string& vcard, int count) = 0;
  /// An object could not be read (empty text, count 1), or a batch of `count` cards could not all
  /// be stored; `error` is then the first of them.
  virtual void vCardError(const std::string& error, int count) = 0;
  /// Where shall this contact go? The answer is `sendVCard` or `cancelVCard`.
  virtual void vCardDestRequest(const std::string& info) = 0;
  /// The contact was sent. Told twice, with an empty text first.
  virtual void vCardSendSucc(const std::string& info) = 0;
  /// The contact could not be sent to the device `bda`; `channel` is always 0.
  virtual void vCardSendErr(const std::string& info, const std::string& bda, int channel) = 0;
  /// A card has come in and waits: store it? The answer is `vCardsAccepted` or `vCardsRejected`.
  virtual void vCardAccept(const std::string& vcard) = 0;

 protected:
  ~OBEXServiceObserverIfc() = default;
};

/// What clients may ask of the service.
///
/// Threads: called from the framework thread, one call at a time. The order of the operations is
/// relied on by other binaries.
class OBEXServiceIfc {
 public:
  /// Starts or stops the push server. Stopping waits for the server's thread.
  virtual void OBEXServerEnable(bool enable) = 0;
  /// Adds an observer, which stays the caller's; twice means that it is told everything twice.
  /// False for null.
  virtual bool subscribe(OBEXServiceObserverIfc* observer) = 0;
  /// Removes an observer once. False when it wasn't there.
  virtual bool unsubscribe(OBEXServiceObserverIfc* observer) = 0;
  /// Makes a copy of this contact the pending one, in place of an earlier one, and asks the
  /// observers for a destination.
  virtual void sendContact(const obex_phonebook_data_t& contact) = 0;
  /// Sends the pending contact to a Bluetooth device address ("00:11:22:33:44:55") and RFCOMM
  /// channel. Returns when the transfer has ended; the observers are told how.
  virtual void sendVCard(const std::string& bda, int channel) = 0;
  /// Drops the pending contact.
  virtual void cancelVCard() = 0;
  /// Does nothing: a transfer runs to its end.
  virtual void cancelTransmission() = 0;
  /// Stores every card that waits and tells the observers the outcome.
  virtual void vCardsAccepted() = 0;
  /// Does nothing.
  virtual void vCardsAcceptFinished() = 0;
  /// Throws every card that waits away.
  virtual void vCardsRejected() = 0;

 protected:
  ~OBEXServiceIfc() = default;
};

// Names of messages and of their parameters. Parameters of different messages have constants of
// their own even where their names are the same.

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

/// Appended to the name under which a contact is sent.
const std::string VCARD_FILE_SUFFIX = ".vcf";

// Names under which the services and the observers' proxies are found.
const std::string DIRECTORY_SERVICE_IFC = "DirectoryServiceIfc";
const std::string MOBILITY_SERVICE_IFC = "MobilityServiceIfc";
const std::string OBEX_SERVICE_OBSERVER_IFC = "OBEXServiceObserverIfc";
