#pragma once

#include <functional>
#include <string>

#include "tools/phonectl/Lifetime.h"
#include "tools/phonectl/PhoneBus.h"
#include "tools/phonectl/PhoneStatus.h"

namespace phonectl {

/// Tells the user, on standard error, what the phone is busy with when an answer takes longer than
/// `kPatienceMilliseconds`. Made when a call goes out, destroyed when its answer is there.
///
/// Threads: the one that runs the default main loop.
class BusyNotice {
 public:
  static constexpr unsigned kPatienceMilliseconds = 2000;

  /// `onStatus`, where given, sees each status before anything is told; when it returns true
  /// nothing more is asked or told. No exception may leave it.
  using OnStatus = std::function<bool(const PhoneStatus&)>;

  explicit BusyNotice(PhoneBus& bus, OnStatus onStatus = {});
  ~BusyNotice();
  BusyNotice(const BusyNotice&) = delete;
  BusyNotice& operator=(const BusyNotice&) = delete;

 private:
  bool ask();
  void answered(const PhoneBus::Answer& answer);
  void tell(const PhoneStatus& status);

  PhoneBus& m_bus;
  const OnStatus m_onStatus;
  sigc::connection m_timer;
  bool m_asking = false;
  bool m_done = false;
  bool m_told = false;
  Lifetime m_lifetime;
};

}  // namespace phonectl
