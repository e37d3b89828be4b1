#pragma once

/// What the environment says: VIRTUAL_RADIO_ADDRESS, the address of this telephone, without which
/// the radio is off, and VIRTUAL_RADIO_DIR, the folder that stands for the air.
///
/// The environment is read anew by each call that sets up a socket; a program that changes it has a
/// new address from then on. Not to be called while another thread changes the environment.

#include <bluetooth/bluetooth.h>

#include <cstddef>

namespace radio {

constexpr char kAddressVariable[] = "VIRTUAL_RADIO_ADDRESS";
constexpr char kFolderVariable[] = "VIRTUAL_RADIO_DIR";
constexpr size_t kPathSize = 4096;

enum class OwnAddress { kNone, kBad, kGood };

/// An address that no adapter has (all zeros) is a bad one.
OwnAddress readOwnAddress(bdaddr_t* address);

struct FolderPath {
  char text[kPathSize] = "";
  bool chosen = false;  ///< somebody named it; otherwise it is the place of our own choice
};

/// 0 or a negative error number (the path is too long).
int readFolderPath(FolderPath* path);

}  // namespace radio
