// bench_write with KDE's KContacts: builds an Addressee and a vCard 2.1. Reads the picture's file
// for each card, like our builder.

#include <KContacts/Addressee>
#include <KContacts/Picture>
#include <KContacts/VCardConverter>
#include <QFile>
#include <stdexcept>

#include "bench/support/Folder.h"
#include "bench/support/Measuring.h"

namespace {

using KContacts::PhoneNumber;

void addNumber(KContacts::Addressee& person, const cards::Contact& contact,
               const std::string& number, const char* name, PhoneNumber::Type type) {
  if (number.empty()) return;
  const bool preferred = contact.defaultnumber == name;
  person.insertPhoneNumber(
      PhoneNumber(QString::fromStdString(number), preferred ? type | PhoneNumber::Pref : type));
}

void addAddress(KContacts::Addressee& person, const std::string& text,
                KContacts::Address::Type type) {
  if (text.empty()) return;
  KContacts::Address address(type);
  address.setStreet(QString::fromStdString(text));
  person.insertAddress(address);
}

void addPicture(KContacts::Addressee& person, const std::string& path) {
  if (path.empty()) return;
  QFile file(QString::fromStdString(path));
  if (!file.open(QIODevice::ReadOnly)) throw std::runtime_error(path + ": can't read");
  KContacts::Picture picture;
  picture.setRawData(file.readAll(), QStringLiteral("jpeg"));
  person.setPhoto(picture);
}

/// Returns the size of the card.
std::size_t writeCard(const cards::Contact& contact) {
  KContacts::Addressee person;
  person.setFamilyName(QString::fromStdString(contact.surname));
  person.setGivenName(QString::fromStdString(contact.firstname));
  addNumber(person, contact, contact.office, "Office", PhoneNumber::Work);
  addNumber(person, contact, contact.office2, "Office2", PhoneNumber::Work);
  addNumber(person, contact, contact.mobile, "Mobile", PhoneNumber::Cell);
  addNumber(person, contact, contact.privatenumber, "Private", PhoneNumber::Home);
  addAddress(person, contact.address, KContacts::Address::Work);
  addAddress(person, contact.address2, KContacts::Address::Home);
  person.addEmail(KContacts::Email(QString::fromStdString(contact.email)));
  person.setOrganization(QString::fromStdString(contact.company));
  person.setTitle(QString::fromStdString(contact.jobfunction));
  addPicture(person, contact.picture);
  // Its vCard 2.1 contains pictures as raw bytes, which is invalid.
  const auto version =
      contact.picture.empty() ? KContacts::VCardConverter::v2_1 : KContacts::VCardConverter::v3_0;
  const QByteArray text = KContacts::VCardConverter().createVCard(person, version);
  return static_cast<std::size_t>(text.size());
}

void writeCardsOf(const std::string& folder) {
  const std::vector<cards::Contact> records = bench::readRecords(folder);
  bench::measureEach(records, writeCard);
}

}  // namespace

int main(int argc, char** argv) { return bench::runOnFolder(argc, argv, writeCardsOf); }
