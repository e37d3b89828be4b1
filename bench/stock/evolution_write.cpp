// bench_write with Evolution's EVCard: the same properties. Reads the picture's file for each card,
// like our builder.

#include <libebook-contacts/libebook-contacts.h>

#include <initializer_list>
#include <stdexcept>

#include "bench/support/Folder.h"
#include "bench/support/Measuring.h"

namespace {

void add(EVCard* card, const char* name, std::initializer_list<const char*> types,
         const std::string& value) {
  if (value.empty()) return;
  EVCardAttribute* const attribute = e_vcard_attribute_new(nullptr, name);
  if (types.size() > 0) {
    EVCardAttributeParam* const param = e_vcard_attribute_param_new(EVC_TYPE);
    for (const char* type : types) e_vcard_attribute_param_add_value(param, type);
    e_vcard_attribute_add_param(attribute, param);
  }
  e_vcard_add_attribute_with_value(card, attribute, value.c_str());
}

void addName(EVCard* card, const cards::Contact& contact) {
  EVCardAttribute* const attribute = e_vcard_attribute_new(nullptr, EVC_N);
  e_vcard_add_attribute_with_values(card, attribute, contact.surname.c_str(),
                                    contact.firstname.c_str(), "", "", "", nullptr);
}

void addPicture(EVCard* card, const std::string& path) {
  if (path.empty()) return;
  gchar* data = nullptr;
  gsize size = 0;
  if (!g_file_get_contents(path.c_str(), &data, &size, nullptr)) {
    throw std::runtime_error(path + ": can't read");
  }
  EVCardAttribute* const attribute = e_vcard_attribute_new(nullptr, EVC_PHOTO);
  e_vcard_attribute_add_param_with_value(attribute, e_vcard_attribute_param_new(EVC_ENCODING),
                                         "BASE64");
  e_vcard_attribute_add_param_with_value(attribute, e_vcard_attribute_param_new(EVC_TYPE), "JPEG");
  e_vcard_attribute_add_value_decoded(attribute, data, static_cast<int>(size));
  e_vcard_add_attribute(card, attribute);
  g_free(data);
}

/// Returns the size of the card.
std::size_t writeCard(const cards::Contact& contact) {
  EVCard* const card = e_vcard_new();
  const auto preferred = [&](const char* which) {
    return contact.defaultnumber == which ? "PREF" : "VOICE";
  };
  addName(card, contact);
  add(card, EVC_TEL, {"WORK", preferred("Office")}, contact.office);
  add(card, EVC_TEL, {"WORK", preferred("Office2")}, contact.office2);
  add(card, EVC_TEL, {"CELL", preferred("Mobile")}, contact.mobile);
  add(card, EVC_TEL, {"HOME", preferred("Private")}, contact.privatenumber);
  add(card, EVC_ADR, {}, contact.address);
  add(card, EVC_ADR, {}, contact.address2);
  add(card, EVC_EMAIL, {"INTERNET"}, contact.email);
  add(card, EVC_ORG, {}, contact.company);
  add(card, EVC_TITLE, {}, contact.jobfunction);
  addPicture(card, contact.picture);
  gchar* const text = e_vcard_to_string(card, EVC_FORMAT_VCARD_21);
  const std::size_t size = std::char_traits<char>::length(text);
  g_free(text);
  g_object_unref(card);
  return size;
}

void writeCardsOf(const std::string& folder) {
  const std::vector<cards::Contact> records = bench::readRecords(folder);
  bench::measureEach(records, writeCard);
}

}  // namespace

int main(int argc, char** argv) { return bench::runOnFolder(argc, argv, writeCardsOf); }
