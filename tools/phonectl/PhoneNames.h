#pragma once

namespace phonectl {

// Where the phone is found on its bus.

inline constexpr const char* kPhoneName = "org.obexphone.Phone";

/// Something that can be called there.
struct BusObject {
  const char* path;
  const char* interface;
};

/// Receives and sends cards.
inline constexpr BusObject kService{"/org/obexphone/OBEXService", "org.obexphone.OBEXServiceIfc"};
/// The phonebook.
inline constexpr BusObject kDirectory{"/org/obexphone/DirectoryService",
                                      "org.obexphone.DirectoryServiceIfc"};
/// How the phone is.
inline constexpr BusObject kPhone{"/org/obexphone/Phone", "org.obexphone.Phone"};
/// Whoever wants to hear of cards has this on a connection of its own.
inline constexpr BusObject kObserver{"/org/obexphone/OBEXServiceObserver",
                                     "org.obexphone.OBEXServiceObserverIfc"};

}  // namespace phonectl
