#pragma once

#include "framework/MessageSerializer.h"

/// The message format "json": one line of JSON for each message, such as
/// `{"name":"vCardSendEvent","type":2,"parameters":[{"name":"channelParam","type":"int","direction":0,"value":4}]}`.
/// Types are "bool", "int" (32 bits), "string", and "bytes" for a string that is not valid UTF-8 or
/// holds a NUL: its value is the text in base64, and it is read back as a string of the same bytes.
/// Names have to be valid UTF-8: a message of which one isn't fails the stream, and nothing is
/// written.
///
/// `decode` takes untrusted bytes: unknown keys are ignored; one that is missing, mistyped or
/// there twice, an int out of range, nesting beyond what the format needs and anything but space
/// behind the message make it return 0.
class FRAMEWORK_API JsonMessageSerializer : public MessageSerializer {
 public:
  /// The name under which a `FrameworkContext` knows this format.
  static const char* formatName() { return "json"; }

  int decode(std::istream& in, Method& method) override;
  void encode(const Method& method, std::ostream& out) override;
};
