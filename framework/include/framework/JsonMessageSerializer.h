#pragma once

#include <cstddef>

#include "framework/MessageSerializer.h"

/// The message format "json": one line of JSON for each message, such as
/// `{"name":"vCardSendEvent","type":2,"parameters":[{"name":"channelParam","type":"int","direction":0,"value":4}]}`.
///
/// Types of values are "bool", "int" (32 bits), "string", and "bytes" for a string that isn't valid
/// UTF-8: its value has one character, U+0000 to U+00FF, for each byte. Names must be valid UTF-8;
/// `encode` writes nothing and sets failbit if one isn't.
///
/// `decode` refuses messages of more than `kMaxMessage` bytes, missing keys, values of another
/// type, integers out of range, deeper nesting than the format has, and text after the message.
/// Unknown keys are ignored; of a repeated key the last one counts.
class FRAMEWORK_API JsonMessageSerializer : public MessageSerializer {
 public:
  /// Bytes. Above what the message bus accepts (32 MiB), even with every byte escaped (`\u0001`).
  static constexpr std::size_t kMaxMessage = std::size_t{256} << 20;

  /// The name under which a `FrameworkContext` knows this format.
  static const char* formatName() { return "json"; }

  int decode(std::istream& in, Method& method) override;
  void encode(const Method& method, std::ostream& out) override;
};
