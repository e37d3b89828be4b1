// Removes a listener's name from the folder when its last descriptor is closed.
//
// Made before a descriptor goes away, asked to finish after it. It never waits: what it cannot
// remove now is removed by whoever comes across it. errno is kept; signal handlers may use it.
#ifndef RADIO_TIDYING_H_
#define RADIO_TIDYING_H_

#include "radio/name.h"

namespace radio {

class Tidying {
 public:
  explicit Tidying(int fd);
  void Finish() const;

 private:
  Place place_;
  bool listener_ = false;
};

}  // namespace radio

#endif  // RADIO_TIDYING_H_
