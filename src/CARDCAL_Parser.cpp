#include "CARDCAL_Parser.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "TextScan.h"
#include "Trace.h"

namespace {

using textscan::hexDigit;

constexpr const char* kLogComponent = "VCARD Parser";
constexpr const char* kLogSource = "CARDCAL_Parser";

// B: before the first character of a parameter's name (N) or value (V); I: inside it.
enum State { kPropName, kParamBN, kParamIN, kParamBV, kParamIV, kPropData };
enum Encoding { kNoEncoding, kQuotedPrintable, kBase64, k8Bit };

/// First size of the line buffer, which then doubles: linear time for a line of any length.
constexpr int kLineStep = 128;
/// A line buffer of this size or larger is freed after its property.
constexpr int kLargeLine = 1025;
/// First capacity of the parameter lists; most properties have fewer.
constexpr int kFewParameters = 8;
/// Maximum quartets decoded per buffer check; bounds the room reserved in advance.
constexpr int kBase64Run = 32;

/// A parameter as offsets into the line buffer, which may be reallocated while the line is read.
/// The property's name is at offset 0, so 0 is free: as `name` it ends a list, as `value` it means
/// no value.
struct Parameter {
  int name;
  int value;
};

/// Whether a word with this first character may be "ENCODING" or the name of an encoding.
constexpr bool mayBeEncoding(char first) {
  return first == '8' || first == 'E' || first == 'e' || first == 'Q' || first == 'q' ||
         first == 'B' || first == 'b';
}

/// The low byte of what `sscanf` with "%X" reads from the two characters. The first may be white
/// space or a sign; a number ends at the first character that is no digit; no digits give 0.
constexpr char hexPair(char first, char second) {
  const int high = hexDigit(first);
  const int low = hexDigit(second);
  if (high >= 0) return static_cast<char>(low >= 0 ? high * 16 + low : high);
  if (low < 0) return 0;
  if (first == '-') return static_cast<char>(-low);
  return static_cast<char>(first == '+' || textscan::isWhiteSpace(first) ? low : 0);
}

/// For each character, a bit mask of the name part's states in which it is ordinary: it is appended
/// to the line and changes no state, except from the B of a parameter or value to its I.
constexpr std::array<unsigned char, 256> kOrdinary = [] {
  std::array<unsigned char, 256> ordinary{};
  for (int i = 0; i < 256; ++i) {
    const char c = static_cast<char>(i);
    if (textscan::isWhiteSpace(c) || c == ':') continue;
    unsigned states = 1U << kParamBN;
    if (c != ';') states |= 1U << kPropName | 1U << kParamBV;
    if (c != ';' && c != '=') states |= 1U << kParamIN;
    if (c != ';' && c != '\\') states |= 1U << kParamIV;
    ordinary[static_cast<std::size_t>(i)] = static_cast<unsigned char>(states);
  }
  return ordinary;
}();

}  // namespace

struct CARDCAL_State {
  int atLineStart;  ///< at the start of a physical line
  int foldSeen;     ///< the physical line began with white space
  char* lineBuffer;
  int lineCapacity;
  int lineLength;
  int state;
  int startOfData;  ///< only white space of the data was seen so far
  Parameter* params;
  int paramCount;
  int escapeSeen;  ///< a backslash was seen in a parameter value
  int encoding;
  int qpEscape;     ///< inside a quoted-printable escape, after "="
  char pending[4];  ///< digits of a quoted-printable escape, or characters of a BASE64 quartet
  int base64Count;

  /// An allocation failed. Kept here because some callers ignore the result: `parse` stops rather
  /// than go on with part of a line.
  int outOfMemory;
  int paramCapacity;
  /// A name part that a handler refused inside a parameter value is evaluated again at the next
  /// ":". Number of evaluations, and of parameters already searched for the encoding.
  int evaluations;
  int paramsExamined;
  /// The list for `propHandler`: the parameters of the first evaluation, as pointers into the line
  /// buffer at `listBase`.
  const char** list;
  const char* listBase;
  int listCount;
};

CARDCAL_Parser::CARDCAL_Parser()
    : m_state(static_cast<CARDCAL_State*>(std::calloc(1, sizeof(CARDCAL_State)))) {
  if (m_state == nullptr) return;
  m_state->atLineStart = 1;
  vcardResetCurrentLine();
}

CARDCAL_Parser::~CARDCAL_Parser() {
  if (m_state == nullptr) return;
  std::free(m_state->lineBuffer);
  std::free(m_state->params);
  std::free(m_state->list);
}

int CARDCAL_Parser::parse(const unsigned char* data, int len) {
  if (m_state == nullptr || m_state->outOfMemory) return 0;
  // With tracing on, every character is logged: no fast path. Asked once per body.
  const bool tracing = loggingOnAppUni(kLogComponent, kLogTrace);
  const char* in = reinterpret_cast<const char*>(data);
  const char* const end = in + std::max(len, 0);
  while (in < end) {
    if (!tracing && !m_state->atLineStart) {
      in = takeRun(in, end);
      if (in == nullptr) return 0;
      if (in == end) break;
    }
    if (!parseByte(*in++) || m_state->outOfMemory) return 0;
  }
  TRACE("\tParser: TERMINATE parsing");
  return vcardProcessCharacter('\n') && !m_state->outOfMemory ? 1 : 0;
}

/// The fast path. Reads lines of the usual shape, with the same result as `parseByte`. Returns the
/// first character that `parseByte` must read, null on failure; so do the functions that it calls.
const char* CARDCAL_Parser::takeRun(const char* in, const char* end) {
  const CARDCAL_State& s = *m_state;
  do {
    if (s.state != kPropData) in = takeNamePart(in, end);
    if (in == nullptr || in == end || s.state != kPropData) return in;
    in = takeData(in, end);
  } while (in != nullptr && in != end && s.state != kPropData);
  return in;
}

/// Reads the name part including its ":".
inline const char* CARDCAL_Parser::takeNamePart(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  while (in < end) {
    // Each character adds at most one to the line.
    if (!vcardReserve(1)) return nullptr;
    in = takeOrdinary(in, in + std::min<long>(end - in, s.lineCapacity - s.lineLength));
    if (in == nullptr || in == end) return in;
    if (s.lineLength == s.lineCapacity) continue;
    const bool ends = *in == ':' && (s.state == kPropName || s.state == kParamIN);
    if (!ends) return in;
    return vcardPropertyEnd() ? in + 1 : nullptr;
  }
  return in;
}

/// Reads ordinary characters and separators. The line must have room for `end - in` characters.
inline const char* CARDCAL_Parser::takeOrdinary(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  const auto isOrdinary = [](char c, int state) {
    return (kOrdinary[static_cast<unsigned char>(c)] & (1U << state)) != 0;
  };
  char* out = s.lineBuffer + s.lineLength;
  int state = s.state;
  while (in < end) {
    if (state == kParamBN || state == kParamBV) {
      if (!isOrdinary(*in, state)) break;
      const int offset = static_cast<int>(out - s.lineBuffer);
      const int done =
          state == kParamBN ? vcardAddParameter(offset) : vcardSetParameterValue(offset);
      if (!done) return nullptr;
      ++state;  // from B to I
      *out++ = *in++;
    }
    in = textscan::copyWordOfName(in, end, out);
    while (in < end && isOrdinary(*in, state)) *out++ = *in++;
    if (in == end) break;
    if (*in == ';' && state != kParamIV) {
      state = kParamBN;
    } else if (*in == '=' && state == kParamIN) {
      state = kParamBV;
    } else {
      break;
    }
    *out++ = '\0';
    ++in;
  }
  s.state = state;
  s.lineLength = static_cast<int>(out - s.lineBuffer);
  return in;
}

/// Reads data to the end of the logical line.
inline const char* CARDCAL_Parser::takeData(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  if (s.qpEscape) return in;
  if (s.startOfData) {
    if (textscan::isWhiteSpace(*in)) return in;
    s.startOfData = 0;
  }
  while (in < end) {
    in = takeDataOfLine(in, end);
    if (in == nullptr || in == end) return in;
    if (*in == '\r') {
      ++in;
      if (in == end || *in != '\n') continue;
    }
    if (*in != '\n') return in;
    if (textscan::isLastOfLine(in, end)) return processDataLineEnd() ? in + 1 : nullptr;
    if (!textscan::isFold(in, end)) return in;
    if (s.encoding != kBase64 && !vcardAddCharacterToCurrentLine(' ')) return nullptr;
    in += 2;
  }
  return in;
}

inline const char* CARDCAL_Parser::takeDataOfLine(const char* in, const char* end) {
  switch (m_state->encoding) {
    case kBase64:
      return takeBase64(in, end);
    case kQuotedPrintable:
      return takeQuotedPrintable(in, end);
    default:
      return takeText<false>(in, end);
  }
}

/// Reads text and folds, up to a character that `copyText` doesn't copy.
template <bool kQuoted>
const char* CARDCAL_Parser::takeText(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  while (in < end) {
    if (!vcardReserve(1)) return nullptr;
    const char* const stop = in + std::min<long>(end - in, s.lineCapacity - s.lineLength);
    char* out = s.lineBuffer + s.lineLength;
    for (;;) {
      in = textscan::copyText<kQuoted>(in, stop, out);
      const char* const next = in < stop ? textscan::skipFold(in, end) : in;
      if (next == in) break;
      *out++ = ' ';
      in = next;
    }
    s.lineLength = static_cast<int>(out - s.lineBuffer);
    if (in < stop) return in;
  }
  return in;
}

/// Reads quoted-printable text, escapes of two digits and soft line breaks.
const char* CARDCAL_Parser::takeQuotedPrintable(const char* in, const char* end) {
  for (;;) {
    in = takeText<true>(in, end);
    if (in == nullptr || in == end || *in != '=') return in;
    const bool isByte = end - in > 2 && hexDigit(in[1]) >= 0 && hexDigit(in[2]) >= 0;
    const char* const next = isByte ? in + 3 : textscan::skipSoftBreak(in, end);
    if (next == in) return in;
    if (isByte && !vcardAddCharacterToCurrentLine(hexPair(in[1], in[2]))) return nullptr;
    in = next;
  }
}

/// Reads characters of the alphabet and folds. Padding and errors are left to `parseByte`.
const char* CARDCAL_Parser::takeBase64(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  for (;;) {
    if (s.base64Count == 0) in = takeQuartets(in, end);
    if (in == nullptr) return nullptr;
    in = gatherQuartet(in, end);
    // A refused quartet stays pending and is refused again.
    if (s.base64Count < 4) return in;
    if (!decodeBase64Quartet()) return nullptr;
  }
}

/// Completes a quartet, across folds.
const char* CARDCAL_Parser::gatherQuartet(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  int count = s.base64Count;
  while (count < 4 && in < end) {
    if (base64::kOrds[static_cast<unsigned char>(*in)] != base64::kInvalidOrd) {
      s.pending[count++] = *in++;
      continue;
    }
    const char* const next = textscan::skipFold(in, end);
    if (next == in) break;
    in = next;
  }
  s.base64Count = count;
  return in;
}

/// Decodes consecutive whole quartets.
const char* CARDCAL_Parser::takeQuartets(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  const char* stop = nullptr;
  do {
    const int count = static_cast<int>(std::min<long>((end - in) / 4, kBase64Run));
    if (!vcardReserve(count * 3 + base64::kQuartetRoom)) return nullptr;
    stop = in + 4 * count;
    char* out = s.lineBuffer + s.lineLength;
    for (; stop - in >= 8; in += 8) {
      const std::uint32_t first = base64::quartetBits(in);
      const std::uint32_t second = base64::quartetBits(in + 4);
      if (((first | second) & base64::kInvalidQuartet) != 0) break;
      out = base64::putQuartets(out, first, second);
    }
    for (; in < stop; in += 4) {
      const std::uint32_t bits = base64::quartetBits(in);
      if ((bits & base64::kInvalidQuartet) != 0) break;
      out = base64::putQuartet(out, bits);
    }
    s.lineLength = static_cast<int>(out - s.lineBuffer);
  } while (in == stop && end - in >= 4);
  return in;
}

// A line break is processed only when the first byte of the next line tells whether it is a fold.
int CARDCAL_Parser::parseByte(char c) {
  CARDCAL_State& s = *m_state;
  if (s.atLineStart) {
    if (c == '\n') {
      if (s.state != kPropData || s.encoding != kBase64) return 1;
      TRACE("\tParser: It might be ending of Based64 data block...");
      if (!vcardProcessCharacter('\n')) {
        TRACE("\tParser: Terminating block failed");
        return 0;
      }
    }
    if (!s.foldSeen && textscan::isWhiteSpace(c)) {
      s.foldSeen = 1;
      return 1;
    }
    if (!startLine(s.foldSeen ? ' ' : '\n')) return 0;
  }
  if (c != '\n') return vcardProcessCharacter(c);
  s.atLineStart = 1;
  s.foldSeen = 0;
  return 1;
}

/// Processes the line break before this line: "\n" ends the logical line, " " continues it.
int CARDCAL_Parser::startLine(char lineBreak) {
  CARDCAL_State& s = *m_state;
  s.atLineStart = 0;
  if (s.foldSeen && s.encoding == kQuotedPrintable) s.qpEscape = 0;
  return vcardProcessCharacter(lineBreak);
}

int CARDCAL_Parser::vcardResetCurrentLine() {
  CARDCAL_State& s = *m_state;
  s.state = kPropName;
  s.lineLength = 0;
  if (s.lineCapacity >= kLargeLine) {
    std::free(s.lineBuffer);
    s.lineBuffer = nullptr;
    s.lineCapacity = 0;
  }
  std::memset(s.pending, 0, sizeof s.pending);
  s.startOfData = 1;
  s.base64Count = 0;
  s.paramCount = 0;
  s.escapeSeen = 0;
  s.encoding = kNoEncoding;
  s.qpEscape = 0;
  s.evaluations = 0;
  s.paramsExamined = 0;
  s.listBase = nullptr;
  return 1;
}

/// Ensures room for `bytes` more bytes in the line buffer.
inline int CARDCAL_Parser::vcardReserve(int bytes) {
  return m_state->lineCapacity - m_state->lineLength >= bytes ? 1 : vcardGrow(bytes);
}

int CARDCAL_Parser::vcardGrow(int bytes) {
  CARDCAL_State& s = *m_state;
  const long needed = long{s.lineLength} + bytes;
  const long capacity =
      std::max(long{s.lineCapacity} * 2, (needed + kLineStep - 1) / kLineStep * kLineStep);
  char* grown = nullptr;
  if (capacity <= std::numeric_limits<int>::max()) {
    grown = static_cast<char*>(std::realloc(s.lineBuffer, static_cast<std::size_t>(capacity)));
  }
  if (grown == nullptr) {
    std::free(s.lineBuffer);
    s.lineBuffer = nullptr;
    s.lineLength = 0;
    s.lineCapacity = 0;
    s.outOfMemory = 1;
    return 0;
  }
  s.lineBuffer = grown;
  s.lineCapacity = static_cast<int>(capacity);
  return 1;
}

inline int CARDCAL_Parser::vcardAddCharacterToCurrentLine(char c) {
  if (!vcardReserve(1)) return 0;
  m_state->lineBuffer[m_state->lineLength++] = c;
  return 1;
}

int CARDCAL_Parser::vcardAddParameter(int nameOffset) {
  CARDCAL_State& s = *m_state;
  if (s.paramCount == s.paramCapacity) {
    const int capacity = std::max(kFewParameters, s.paramCapacity * 2);
    auto* grown = static_cast<Parameter*>(
        std::realloc(s.params, static_cast<std::size_t>(capacity) * sizeof(Parameter)));
    if (grown == nullptr) {
      s.outOfMemory = 1;
      return 0;
    }
    s.params = grown;
    s.paramCapacity = capacity;
  }
  s.params[s.paramCount++] = Parameter{nameOffset, 0};
  return 1;
}

int CARDCAL_Parser::vcardSetParameterValue(int valueOffset) {
  CARDCAL_State& s = *m_state;
  if (s.params == nullptr || s.paramCount == 0) return 0;
  s.params[s.paramCount - 1].value = valueOffset;
  return 1;
}

inline int CARDCAL_Parser::vcardPropertyEnd() {
  CARDCAL_State& s = *m_state;
  if (!vcardAddCharacterToCurrentLine('\0')) return 0;
  int nameOffset = 0;
  if (s.evaluations++ == 0 && !vcardSplitGroup(nameOffset)) return 0;
  vcardReadEncoding();
  if (!vcardBuildParameterList()) return 0;
  if (!vcardAddParameter(0)) return 0;
  s.paramsExamined = s.paramCount;
  if (!propHandler(s.lineBuffer + nameOffset, s.list)) return 0;
  s.state = kPropData;
  s.lineLength = 0;
  return 1;
}

/// Finds the start of the property's name and reports the group, if any. Ends the group with a zero
/// byte, so that a later evaluation takes it for the name.
inline int CARDCAL_Parser::vcardSplitGroup(int& nameOffset) {
  const CARDCAL_State& s = *m_state;
  char* dot = s.lineBuffer;
  while (*dot != '.' && *dot != '\0') ++dot;
  if (*dot == '\0') return 1;
  *dot = '\0';
  nameOffset = static_cast<int>(dot + 1 - s.lineBuffer);
  return groupHandler(s.lineBuffer);
}

/// Takes the encoding from the parameters not yet examined; the last one that names one wins.
inline void CARDCAL_Parser::vcardReadEncoding() {
  CARDCAL_State& s = *m_state;
  for (int i = s.paramsExamined; i < s.paramCount; ++i) {
    const Parameter& param = s.params[i];
    if (param.name == 0) continue;
    const char* word = s.lineBuffer + param.name;
    if (!mayBeEncoding(*word)) continue;
    if (strcasecmp(word, "ENCODING") == 0) {
      if (param.value == 0) continue;
      word = s.lineBuffer + param.value;
    }
    if (strcasecmp(word, "QUOTED-PRINTABLE") == 0) {
      s.encoding = kQuotedPrintable;
    } else if (strcasecmp(word, "BASE64") == 0) {
      s.encoding = kBase64;
    } else if (strcasecmp(word, "8BIT") == 0) {
      s.encoding = k8Bit;
    }
  }
}

/// Builds the handlers' list from the parameters of the first evaluation. A later evaluation builds
/// it again only if the line buffer has moved, which keeps many of them linear.
inline int CARDCAL_Parser::vcardBuildParameterList() {
  CARDCAL_State& s = *m_state;
  if (s.evaluations > 1 && s.listBase == s.lineBuffer) return 1;
  int count = 0;
  while (count < s.paramCount && s.params[count].name != 0) ++count;
  if (s.list == nullptr || count > s.listCount) {
    const int room = std::max(count, kFewParameters);
    const std::size_t entries = (static_cast<std::size_t>(room) + 1) * 2;
    auto* grown = static_cast<const char**>(std::realloc(s.list, entries * sizeof(const char*)));
    if (grown == nullptr) {
      s.outOfMemory = 1;
      return 0;
    }
    s.list = grown;
    s.listCount = room;
  }
  for (int i = 0; i < count; ++i) {
    s.list[2 * i] = s.lineBuffer + s.params[i].name;
    s.list[2 * i + 1] = s.params[i].value == 0 ? nullptr : s.lineBuffer + s.params[i].value;
  }
  s.list[2 * count] = nullptr;
  s.list[2 * count + 1] = nullptr;
  s.listBase = s.lineBuffer;
  return 1;
}

int CARDCAL_Parser::vcardProcessCharacter(char c) {
  TRACE("\tvcardProcessCharacter char: %c, code of char: %d, state %d\n", c,
        static_cast<unsigned char>(c), m_state->state);
  switch (m_state->state) {
    case kPropName:
      return processCharacter_propName(c);
    case kParamBN:
      return processCharacter_paramBN(c);
    case kParamIN:
      return processCharacter_paramIN(c);
    case kParamBV:
      return processCharacter_paramBV(c);
    case kParamIV:
      return processCharacter_paramIV(c);
    case kPropData:
      return processCharacter_propData(c);
    default:
      return 1;
  }
}

int CARDCAL_Parser::processCharacter_propName(char c) {
  if (c == '\n') return vcardResetCurrentLine();
  if (c == ':') return vcardPropertyEnd();
  if (c == ';') {
    if (!vcardAddCharacterToCurrentLine('\0')) return 0;
    m_state->state = kParamBN;
    return 1;
  }
  if (textscan::isWhiteSpace(c)) return 1;
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processCharacter_paramBN(char c) {
  if (c == ':') {
    vcardResetCurrentLine();
    return 0;
  }
  if (textscan::isWhiteSpace(c)) return 1;
  vcardAddParameter(m_state->lineLength);
  m_state->state = kParamIN;
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processCharacter_paramIN(char c) {
  if (c == ':') return vcardPropertyEnd();
  if (c == ';' || c == '=') {
    m_state->state = c == ';' ? kParamBN : kParamBV;
    return vcardAddCharacterToCurrentLine('\0');
  }
  if (textscan::isWhiteSpace(c)) return 1;
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processCharacter_paramBV(char c) {
  if (c == ':' || c == ';') {
    vcardResetCurrentLine();
    return 0;
  }
  if (textscan::isWhiteSpace(c)) return 1;
  if (!vcardSetParameterValue(m_state->lineLength)) return 0;
  m_state->state = kParamIV;
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processCharacter_paramIV(char c) {
  CARDCAL_State& s = *m_state;
  if (c == ':') {
    // A refusal is ignored here: the value then goes on with the property's data.
    vcardPropertyEnd();
    return 1;
  }
  if (c == ';' && !s.escapeSeen) {
    s.state = kParamBN;
    return vcardAddCharacterToCurrentLine('\0');
  }
  if (c == '\\' && !s.escapeSeen) {
    s.escapeSeen = 1;
    return 1;
  }
  if (c == ';' || c == '\\') {
    s.escapeSeen = 0;
  } else if (textscan::isWhiteSpace(c)) {
    return 1;
  }
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processCharacter_propData(char c) {
  CARDCAL_State& s = *m_state;
  if (c == '\n') return processDataLineEnd();
  if (c == '\r') return 1;
  if (s.startOfData) {
    if (textscan::isWhiteSpace(c)) {
      TRACE("\tParser: StartOfData");
      return 1;
    }
    s.startOfData = 0;
  }
  if (s.encoding == kQuotedPrintable) return processQuotedPrintable(c);
  if (s.encoding == kBase64) return processBase64(c);
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processQuotedPrintable(char c) {
  CARDCAL_State& s = *m_state;
  if (!s.qpEscape) {
    if (c != '=') return vcardAddCharacterToCurrentLine(c);
    std::memset(s.pending, 0, sizeof s.pending);
    s.base64Count = 0;
    s.qpEscape = 1;
    return 1;
  }
  if (s.pending[0] == '\0') {
    s.pending[0] = c;
    return 1;
  }
  s.pending[1] = c;
  s.pending[2] = '\0';
  s.qpEscape = 0;
  return vcardAddCharacterToCurrentLine(hexPair(s.pending[0], s.pending[1]));
}

int CARDCAL_Parser::processBase64(char c) {
  CARDCAL_State& s = *m_state;
  if (s.base64Count < 4 && !textscan::isWhiteSpace(c)) s.pending[s.base64Count++] = c;
  return s.base64Count < 4 ? 1 : decodeBase64Quartet();
}

int CARDCAL_Parser::decodeBase64Quartet() {
  CARDCAL_State& s = *m_state;
  const std::uint32_t bits = base64::quartetBits(s.pending);
  if ((bits & base64::kInvalidQuartet) != 0) return decodePaddedQuartet();
  if (!vcardReserve(base64::kQuartetRoom)) return 0;
  base64::putQuartet(s.lineBuffer + s.lineLength, bits);
  s.lineLength += 3;
  return clearPending();
}

/// Decodes a quartet with padding; fails on one with an invalid character.
int CARDCAL_Parser::decodePaddedQuartet() {
  CARDCAL_State& s = *m_state;
  constexpr unsigned kInvalid = 255;
  const unsigned a = Base64ToOrd(s.pending[0]);
  const unsigned b = Base64ToOrd(s.pending[1]);
  const unsigned c = Base64ToOrd(s.pending[2]);
  const unsigned d = Base64ToOrd(s.pending[3]);
  const bool two = s.pending[2] != '=';
  const bool three = two && s.pending[3] != '=';
  if (a == kInvalid || b == kInvalid) {
    TRACE("\tParser: Base64 format error");
    return 0;
  }
  if (!vcardAddCharacterToCurrentLine(static_cast<char>((a << 2) | (b >> 4)))) return 0;
  if (two) {
    if (c == kInvalid) {
      TRACE("\tParser: Base64 format error");
      return 0;
    }
    if (!vcardAddCharacterToCurrentLine(static_cast<char>(((b & 15) << 4) | (c >> 2)))) return 0;
  }
  if (three) {
    if (d == kInvalid) {
      TRACE("\tParser: Base64 format error");
      return 0;
    }
    if (!vcardAddCharacterToCurrentLine(static_cast<char>(((c & 3) << 6) | d))) return 0;
  }
  return clearPending();
}

int CARDCAL_Parser::clearPending() {
  std::memset(m_state->pending, 0, sizeof m_state->pending);
  m_state->base64Count = 0;
  return 1;
}

inline int CARDCAL_Parser::processDataLineEnd() {
  CARDCAL_State& s = *m_state;
  while (s.encoding == kBase64 && s.base64Count > 0) {
    if (!vcardProcessCharacter('=')) {
      TRACE("\tParser: Process char error");
      return 0;
    }
  }
  if (s.encoding == kQuotedPrintable && s.qpEscape && s.pending[0] == '\0') {
    TRACE("\tencoding Qp, but got end of line, ignoring this = and continuing");
    std::memset(s.pending, 0, sizeof s.pending);
    s.qpEscape = 0;
    s.base64Count = 0;
    return 1;
  }
  if (s.lineLength > 0) {
    if (!vcardReserve(1)) return 0;
    s.lineBuffer[s.lineLength] = '\0';
    TRACE("\tParser: Terminate string");
    if (!dataHandler(s.lineBuffer, s.lineLength)) return 0;
  }
  TRACE("\tParser: Terminate data");
  if (!dataHandler(nullptr, 0)) {
    TRACE("\tParser: Terminating data error");
    return 0;
  }
  return vcardResetCurrentLine();
}

unsigned char CARDCAL_Parser::Base64ToOrd(char c) {
  return base64::kOrds[static_cast<unsigned char>(c)];
}
