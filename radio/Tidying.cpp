#include "radio/Tidying.h"

#include "radio/Descriptors.h"
#include "radio/Folder.h"

namespace radio {

Tidying::Tidying(int fd) {
  Mark mark;
  if (!isRadio(fd, &mark)) return;
  if (mark.state != State::kListening && mark.state != State::kBound) return;
  Name name;
  m_listener = localNameOf(fd, &name) == 0 && readPlace(name, &m_place);
}

// A copy of the descriptor may live on, here or in a child: then the folder finds the socket alive.
void Tidying::finish() const {
  if (!m_listener) return;
  Folder folder;
  if (folder.error() == 0) folder.removeDead(m_place);
}

}  // namespace radio
