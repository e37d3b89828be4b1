#pragma once

#include <functional>
#include <memory>
#include <string>

#include "framework/Method.h"
#include "host/bus/BusObject.h"

namespace host {

/// The telephone's own object on the bus, /org/obexphone/Phone: `Status() -> a{sv}` and
/// `SetVisible(i seconds)`. `read` is asked at each call, on the main thread, for the values as
/// parameters (`OUT`); `makeVisible` is told the seconds, -1 for ever.
std::unique_ptr<BusObject> makeStatusObject(std::function<Method()> read,
                                            std::function<void(int seconds)> makeVisible);

}  // namespace host
