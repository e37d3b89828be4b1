// The contact record, and the names of messages and parameters.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "src/OBEXService.h"
#include "src/OBEXServiceIfc.h"

namespace test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

std::vector<std::string> Fields(const obex_phonebook_data_t& contact) {
  return {contact.firstname, contact.surname,  contact.defaultnumber, contact.office,
          contact.office2,   contact.mobile,   contact.privatenumber, contact.email,
          contact.address,   contact.address2, contact.company,       contact.jobfunction,
          contact.picture};
}

TEST(ContactRecord, IsEmptyWhenNew) { EXPECT_THAT(Fields({}), Each("")); }

TEST(ContactRecord, CopiesAllThirteenFields) {
  obex_phonebook_data_t contact;
  int number = 0;
  for (std::string* field :
       {&contact.firstname, &contact.surname, &contact.defaultnumber, &contact.office,
        &contact.office2, &contact.mobile, &contact.privatenumber, &contact.email, &contact.address,
        &contact.address2, &contact.company, &contact.jobfunction, &contact.picture}) {
    *field = "field " + std::to_string(++number) + std::string(1, '\0');
  }
  contact.email.clear();
  const obex_phonebook_data_t copy(contact);
  EXPECT_EQ(Fields(copy), Fields(contact));
  EXPECT_EQ(copy.email, "");
}

TEST(ContactRecord, LaysOutItsFieldsInOrder) {
  const obex_phonebook_data_t contact;
  const std::string* field = &contact.firstname;
  EXPECT_EQ(field + 1, &contact.surname);
  EXPECT_EQ(field + 2, &contact.defaultnumber);
  EXPECT_EQ(field + 6, &contact.privatenumber);
  EXPECT_EQ(field + 12, &contact.picture);
  EXPECT_EQ(sizeof contact, 13 * sizeof(std::string));
  EXPECT_FALSE(std::is_polymorphic_v<obex_phonebook_data_t>);
}

TEST(Vocabulary, NamesMessagesAndParametersInOrder) {
  EXPECT_THAT(
      (std::vector<std::string>{OBEX_RESULT_RETURN,
                                OBEX_ENABLE_EVENT,
                                OBEX_ENABLE_RETURN,
                                OBEX_ENABLE_PARAM,
                                SUBSCRIBE_EVENT,
                                SUBSCRIBE_EVENT_RETURN,
                                UNSUBSCRIBE_EVENT,
                                UNSUBSCRIBE_EVENT_RETURN,
                                VCARD_RECEIVED_EVENT,
                                VCARD_RECEIVED_VCARD_PARAM,
                                VCARD_ERROR_EVENT,
                                VCARD_ERROR_ERROR_PARAM,
                                VCARD_COUNT_PARAM,
                                VCARD_DEST_REQUEST_EVENT,
                                VCARD_DEST_REQUEST_INFO_PARAM,
                                VCARD_SEND_SUCC_EVENT,
                                VCARD_SEND_SUCC_INFO_PARAM,
                                VCARD_SEND_ERR_EVENT,
                                VCARD_SEND_ERR_INFO_PARAM,
                                VCARD_SEND_ERR_BDA_PARAM,
                                VCARD_SEND_ERR_CHANNEL_PARAM,
                                VCARD_SEND_EVENT,
                                VCARD_SEND_BDA_PARAM,
                                VCARD_SEND_CHANNEL_PARAM,
                                VCARD_CANCEL_EVENT,
                                VCARD_CANCEL_TRANSMISSION_EVENT,
                                VCARDS_ACCEPTED_EVENT,
                                VCARDS_ACCEPT_FINISHED_EVENT,
                                VCARDS_REJECTED_EVENT,
                                VCARD_ACCEPT_EVENT,
                                VCARD_ACCEPT_VCARD_PARAM,
                                VCARD_SEND_CONTACT_EVENT}),
      ElementsAre("obexbResultReturn", "obexEnableEvent", "obexEnableReturn", "obexEnableParam",
                  "subscribeEvent", "subscribeEventReturn", "unsubscribeEvent",
                  "unsubscribeEventReturn", "vCardReceivedEvent", "vCardiParam", "vCardErrorEvent",
                  "errorParam", "countParam", "vCardDestRequestEvent", "infoParam",
                  "vCardSendSuccEvent", "infoParam", "vCardSendErrEvent", "infoParam", "bdaParam",
                  "channelParam", "vCardSendEvent", "bdaParam", "channelParam", "vCardCancelEvent",
                  "vCardCancelTransmissionEvent", "vCardsAcceptedEvent",
                  "vCardsAcceptFinishedEvent", "vCardsRejectedEvent", "vCardAcceptEvent",
                  "acceptParam", "vCardSendContactEvent"));
}

TEST(Vocabulary, NamesContactParametersAfterTheirFields) {
  EXPECT_THAT(
      (std::vector<std::string>{
          CONTACT_FIRSTNAME_PARAM, CONTACT_SURNAME_PARAM, CONTACT_DEFAULTNUMBER_PARAM,
          CONTACT_OFFICE_PARAM, CONTACT_OFFICE2_PARAM, CONTACT_MOBILE_PARAM, CONTACT_PRIVATE_PARAM,
          CONTACT_EMAIL_PARAM, CONTACT_ADDRESS_PARAM, CONTACT_ADDRESS2_PARAM, CONTACT_COMPANY_PARAM,
          CONTACT_JOBFUNCTION_PARAM, CONTACT_PICTURE_PARAM}),
      ElementsAre("firstnameParam", "surnameParam", "defaultnumberParam", "officeParam",
                  "office2Param", "mobileParam", "privateParam", "emailParam", "addressParam",
                  "address2Param", "companyParam", "jobfunctionParam", "pictureParam"));
}

TEST(Vocabulary, NamesServicesAndColumns) {
  EXPECT_EQ(VCARD_FILE_SUFFIX, ".vcf");
  EXPECT_EQ(DIRECTORY_SERVICE_IFC, "DirectoryServiceIfc");
  EXPECT_EQ(MOBILITY_SERVICE_IFC, "MobilityServiceIfc");
  EXPECT_EQ(OBEX_SERVICE_OBSERVER_IFC, "OBEXServiceObserverIfc");
  EXPECT_EQ(OBEXService::FIRSTNAME, "Firstname");
  EXPECT_EQ(OBEXService::SURNAME, "Surname");
  EXPECT_EQ(OBEXService::PRIVATE, "Private");
  EXPECT_EQ(OBEXService::MOBILE, "Mobile");
  EXPECT_EQ(OBEXService::OFFICE, "Office");
  EXPECT_EQ(OBEXService::OFFICE2, "Office2");
}

}  // namespace
}  // namespace test
