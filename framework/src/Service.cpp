#include "framework/Service.h"

void Service::handleMsg(const char* data, int length, std::string sender, CommsChannelIfc& channel,
                        CommsChannelDataContainerMessage* container) {
  static_cast<void>(data);
  static_cast<void>(length);
  static_cast<void>(sender);
  static_cast<void>(channel);
  static_cast<void>(container);
}
