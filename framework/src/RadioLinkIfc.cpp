#include "framework/RadioLinkIfc.h"

namespace {

std::shared_mutex linkMutex;
RadioLinkIfc* currentLink = nullptr;  // guarded by linkMutex

}  // namespace

void setRadioLink(RadioLinkIfc* link) {
  const std::unique_lock lock(linkMutex);
  currentLink = link;
}

RadioLinkAccess::RadioLinkAccess() : m_lock(linkMutex), m_link(currentLink) {}
