#pragma once

#include <functional>
#include <memory>
#include <string>

#include "framework/Method.h"
#include "host/bus/BusObject.h"

namespace host {

/// What the telephone's own object does, on the main thread.
struct PhoneOperations {
  std::function<Method()> status;  ///< the values as parameters (`OUT`)
  std::function<void(int seconds)> makeVisible;
  /// The journal's newest entries, so many; a tuple, and a reference for the taker.
  std::function<GVariant*(int limit)> journal;
};

/// The telephone's own object on the bus, /org/obexphone/Phone: `Status() -> a{sv}`,
/// `SetVisible(i seconds)` and `Journal(i limit) -> aa{sv}`.
std::unique_ptr<BusObject> makeStatusObject(PhoneOperations operations);

}  // namespace host
