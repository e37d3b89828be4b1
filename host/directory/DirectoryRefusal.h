#pragma once

#include <stdexcept>

namespace host {

/// A request that isn't carried out because of what it says or asks for; `what()` is the reason, a
/// sentence for the user that holds nothing of the request.
class DirectoryRefusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace host
