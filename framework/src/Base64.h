#pragma once

#include <string>
#include <string_view>

namespace framework_detail {

/// RFC 4648's base64 with padding, without line ends.
std::string encodeBase64(std::string_view bytes);

/// Reads what `encodeBase64` wrote and puts it into `bytes`. Returns false for anything else: other
/// characters, missing padding, bits behind the last byte.
bool decodeBase64(std::string_view text, std::string& bytes);

}  // namespace framework_detail
