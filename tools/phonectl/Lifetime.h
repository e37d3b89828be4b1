#pragma once

#include <memory>
#include <utility>

namespace phonectl {

/// A member of objects that are called back: a callback made by `bind` does nothing when the object
/// has gone meanwhile.
///
/// Threads: the one that runs the main loop.
class Lifetime {
 public:
  Lifetime() = default;
  Lifetime(const Lifetime&) = delete;
  Lifetime& operator=(const Lifetime&) = delete;

  template <typename Callback>
  auto bind(Callback callback) const {
    return
        [alive = std::weak_ptr<char>(m_token), callback = std::move(callback)](auto&&... values) {
          if (!alive.expired()) callback(std::forward<decltype(values)>(values)...);
        };
  }

 private:
  std::shared_ptr<char> m_token = std::make_shared<char>();
};

}  // namespace phonectl
