#include "radio/tidying.h"

#include "radio/descriptors.h"
#include "radio/folder.h"

namespace radio {

Tidying::Tidying(int fd) {
  Mark mark;
  if (!IsRadio(fd, &mark)) return;
  if (mark.state != State::kListening && mark.state != State::kBound) return;
  Name name;
  listener_ = LocalNameOf(fd, &name) == 0 && ReadPlace(name, &place_);
}

// A copy of the descriptor may live on, here or in a child: then the folder finds the socket alive.
void Tidying::Finish() const {
  if (!listener_) return;
  Folder folder;
  if (folder.error() == 0) folder.RemoveDead(place_, FolderLock::Patience::kTryOnce);
}

}  // namespace radio
