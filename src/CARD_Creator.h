#pragma once

#include <string>

#include "OBEXServiceIfc.h"

/// Builds a vCard 2.1 from a contact record. Values are neither checked nor escaped, and lines are
/// not folded.
///
/// Thread-safe: stateless. Never fails: a picture that can't be read is left out. Every operation
/// returns its property as lines ended by CR LF, or an empty text if the value is empty.
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
  /// `path` is a path that contains "/data/images/", or a name in that folder. Reads at most 102400
  /// bytes.
  std::string addPicture(const std::string& path);
  /// BASE64 of `length` bytes, with padding, in one line.
  std::string base64Encode(const char* data, int length);
};
