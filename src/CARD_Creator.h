#pragma once

#include <string>

#include "OBEXServiceIfc.h"

/// Turns a contact record into the text of a vCard 2.1. Joins text only: values are neither checked
/// nor escaped, and lines are not folded, whatever a value holds.
///
/// Threads: keeps nothing; separate objects may be used by separate threads. It never fails: what
/// can't be had, such as a picture that can't be read, is left out. Every operation returns the
/// lines it names, each ended by CR LF, or an empty text where there is nothing to say.
class CARD_Creator {
 public:
  CARD_Creator();
  ~CARD_Creator();
  CARD_Creator(const CARD_Creator&) = delete;
  CARD_Creator& operator=(const CARD_Creator&) = delete;

  /// The whole card.
  std::string createVCard(const obex_phonebook_data_t& contact);

  std::string prolog();
  std::string epilog();
  std::string addName(const std::string& first, const std::string& last);
  std::string addPhoneNumber(const std::string& type, const std::string& number, bool preferred);
  std::string addOffice(const std::string& number, bool preferred);
  std::string addMobile(const std::string& number, bool preferred);
  std::string addPrivate(const std::string& number, bool preferred);
  std::string addAddress(const std::string& value);
  std::string addEmail(const std::string& value);
  std::string addCompany(const std::string& value);
  std::string addJobFunction(const std::string& value);
  /// The picture at a path, or under a name in "/data/images/"; of a large one the first 102400
  /// bytes.
  std::string addPicture(const std::string& path);
  /// Base64 with padding, in one line. `length` bytes at `data`.
  std::string base64Encode(const char* data, int length);
};
