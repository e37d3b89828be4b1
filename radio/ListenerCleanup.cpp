#include "radio/ListenerCleanup.h"

#include "radio/Descriptors.h"
#include "radio/Folder.h"

namespace radio {

ListenerCleanup::ListenerCleanup(int fd) {
  SocketState state;
  if (!isRadio(fd, &state)) return;
  if (state.state != State::kListening && state.state != State::kBound) return;
  Name name;
  m_listener = localNameOf(fd, &name) == 0 && readPlace(name, &m_place);
}

// A copy of the descriptor may live on, here or in a child: then the folder finds the socket alive.
void ListenerCleanup::finish() const {
  if (!m_listener) return;
  Folder folder;
  if (folder.error() == 0) folder.removeDead(m_place);
}

}  // namespace radio
