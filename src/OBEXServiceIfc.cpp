#include "OBEXServiceIfc.h"

// All fields start empty and are then assigned in declaration order.
obex_phonebook_data_t::obex_phonebook_data_t(const obex_phonebook_data_t& other) {  // NOLINT
  firstname = other.firstname;
  surname = other.surname;
  defaultnumber = other.defaultnumber;
  office = other.office;
  office2 = other.office2;
  mobile = other.mobile;
  privatenumber = other.privatenumber;
  email = other.email;
  address = other.address;
  address2 = other.address2;
  company = other.company;
  jobfunction = other.jobfunction;
  picture = other.picture;
}
