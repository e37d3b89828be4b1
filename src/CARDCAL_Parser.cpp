#include "CARDCAL_Parser.h"

#include <endian.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "Trace.h"

namespace {

constexpr const char* kLogComponent = "VCARD Parser";
constexpr const char* kLogSource = "CARDCAL_Parser";

enum State { kPropName, kParamBN, kParamIN, kParamBV, kParamIV, kPropData };
enum Encoding { kNoEncoding, kQuotedPrintable, kBase64, k8Bit };

/// The buffer grows in steps of this size while it is small; a larger one doubles, or the time for
/// a long line would grow with the square of its length.
constexpr int kLineStep = 128;
/// A buffer that got this large is given back after its property.
constexpr int kLargeLine = 1025;
/// Room for more parameters than most properties have.
constexpr int kFewParameters = 8;
/// So many quartets at once at most: what is reserved for them must not be much more than they
/// fill.
constexpr int kBase64Run = 32;

/// A parameter as offsets into the line buffer, which may move while the line is read. A name
/// offset of 0 ends a list: no parameter can stand where the property's name is. A value offset of
/// 0 is no value.
struct Parameter {
  int name;
  int value;
};

/// What `isspace` accepts, whatever the locale of the process.
constexpr bool isWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Whether a word with this first character may be "ENCODING" or one of the encodings: most aren't.
constexpr bool mayBeEncoding(char first) {
  return first == '8' || first == 'E' || first == 'e' || first == 'Q' || first == 'q' ||
         first == 'B' || first == 'b';
}

constexpr int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// The low byte of what `sscanf` reads from the two characters with "%X": white space and a sign
/// may come first, and a character that is no digit ends the number, so that an invalid pair gives
/// its first digit, or 0.
constexpr char hexPair(char first, char second) {
  const int high = hexDigit(first);
  const int low = hexDigit(second);
  if (high >= 0) return static_cast<char>(low >= 0 ? high * 16 + low : high);
  if (low < 0) return 0;
  if (first == '-') return static_cast<char>(-low);
  return static_cast<char>(first == '+' || isWhiteSpace(first) ? low : 0);
}

constexpr unsigned char kInvalidOrd = 255;
constexpr std::uint32_t kInvalidQuartet = 1U << 31;

/// The value of each character of the BASE64 alphabet.
constexpr std::array<unsigned char, 256> kOrds = [] {
  constexpr const char* kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<unsigned char, 256> ords{};
  ords.fill(kInvalidOrd);
  for (unsigned char i = 0; i < 64; ++i) ords[static_cast<unsigned char>(kAlphabet[i])] = i;
  return ords;
}();

/// What a character adds to the 24 bits of its quartet at each of the four places.
using QuartetPlace = std::array<std::uint32_t, 256>;
constexpr std::array<QuartetPlace, 4> kQuartet = [] {
  std::array<QuartetPlace, 4> places{};
  for (std::size_t place = 0; place < 4; ++place) {
    for (std::size_t c = 0; c < 256; ++c) {
      const std::uint32_t ord = kOrds[c];
      places[place][c] = ord == kInvalidOrd ? kInvalidQuartet : ord << (18 - 6 * place);
    }
  }
  return places;
}();

/// The 24 bits of a quartet of the alphabet; anything else has the bit `kInvalidQuartet`.
std::uint32_t quartetBits(const char* in) {
  const auto* c = reinterpret_cast<const unsigned char*>(in);
  return kQuartet[0][c[0]] | kQuartet[1][c[1]] | kQuartet[2][c[2]] | kQuartet[3][c[3]];
}

/// Writes three bytes, and a fourth for which there must be room.
char* putQuartet(char* out, std::uint32_t bits) {
  const std::uint32_t bytes = htobe32(bits << 8);
  std::memcpy(out, &bytes, sizeof bytes);
  return out + 3;
}

/// For each character, the states in which it is ordinary: it is appended to the line as it stands
/// and changes nothing else. A bit for each state but that of data, and one for quoted-printable
/// data.
constexpr unsigned kQuotedPrintableBit = 1U << kPropData;
constexpr std::array<unsigned char, 256> kOrdinary = [] {
  std::array<unsigned char, 256> ordinary{};
  for (int i = 0; i < 256; ++i) {
    const char c = static_cast<char>(i);
    const bool plain = !isWhiteSpace(c) && c != ':' && c != ';';
    unsigned states = 0;
    if (plain) states |= 1U << kPropName;
    if (plain && c != '=') states |= 1U << kParamIN;
    if (plain && c != '\\') states |= 1U << kParamIV;
    if (c != '\n' && c != '\r' && c != '=') states |= kQuotedPrintableBit;
    ordinary[static_cast<std::size_t>(i)] = static_cast<unsigned char>(states);
  }
  return ordinary;
}();

/// Whether a line that ends here goes on in the next one, as far as can be seen at once.
bool isFold(const char* lineEnd, const char* end) {
  return end - lineEnd > 2 && lineEnd[1] != '\n' && isWhiteSpace(lineEnd[1]) && lineEnd[2] != '\n';
}

}  // namespace

struct CARDCAL_State {
  int atLineStart;  ///< the next byte is the first of a physical line
  int foldSeen;     ///< the physical line began with white space
  char* lineBuffer;
  int lineCapacity;
  int lineLength;
  int state;
  int startOfData;  ///< no character of the data but white space was seen
  Parameter* params;
  int paramCount;
  int escapeSeen;  ///< a backslash was seen in a parameter value
  int encoding;
  int qpEscape;     ///< a quoted-printable "=" waits for its digits
  char pending[4];  ///< digits of a quoted-printable escape, or characters of a BASE64 quartet
  int base64Count;

  /// Part of a line couldn't be kept. Steps whose result isn't looked at can meet this too, and
  /// what follows them would be made of half a line: the reading ends.
  int outOfMemory;
  int paramCapacity;
  /// Of a name part that is evaluated more than once (after a handler refused it in a parameter
  /// value, a further ":" does that): how often it was, and how many parameters the encoding was
  /// taken from already.
  int evaluations;
  int paramsExamined;
  /// The list for `propHandler`, made of the parameters of the first evaluation and valid for the
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
  // Asked once for a body: with tracing on, every character has its line.
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

/// Takes as many characters at once as need no look at each; gives what taking them one by one
/// gives. Returns where the next one stands that needs a look, null when the reading fails.
const char* CARDCAL_Parser::takeRun(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  switch (s.state) {
    case kPropName:
    case kParamIN:
    case kParamIV:
      return takeOrdinary(in, end, 1U << s.state);
    case kPropData:
      return takeData(in, end);
    default:
      return in;
  }
}

const char* CARDCAL_Parser::takeOrdinary(const char* in, const char* end, unsigned bit) {
  CARDCAL_State& s = *m_state;
  while (in < end && (kOrdinary[static_cast<unsigned char>(*in)] & bit) != 0) {
    if (!vcardReserve(1)) return nullptr;
    const char* const stop = in + std::min<long>(end - in, s.lineCapacity - s.lineLength);
    char* out = s.lineBuffer + s.lineLength;
    while (in < stop && (kOrdinary[static_cast<unsigned char>(*in)] & bit) != 0) *out++ = *in++;
    s.lineLength = static_cast<int>(out - s.lineBuffer);
  }
  return in;
}

/// Data over many lines, as long as they are continued.
const char* CARDCAL_Parser::takeData(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  if (s.startOfData) {
    if (isWhiteSpace(*in)) return in;
    s.startOfData = 0;
  }
  while (in < end && !s.qpEscape) {
    if (s.encoding == kBase64) {
      in = takeBase64(in, end);
    } else if (s.encoding == kQuotedPrintable) {
      in = takeOrdinary(in, end, kQuotedPrintableBit);
    } else {
      in = takePlainLine(in, end);
    }
    if (in == nullptr || in == end) return in;
    if (*in == '\r') {
      ++in;
    } else if (*in == '\n' && isFold(in, end)) {
      if (s.encoding != kBase64 && !vcardAddCharacterToCurrentLine(' ')) return nullptr;
      in += 2;
    } else {
      return in;
    }
  }
  return in;
}

/// The rest of a line without what has a meaning only in an encoding.
const char* CARDCAL_Parser::takePlainLine(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  const auto find = [](const char* from, const char* to, char c) {
    const void* found = std::memchr(from, c, static_cast<std::size_t>(to - from));
    return found == nullptr ? to : static_cast<const char*>(found);
  };
  const char* const lineEnd = find(in, end, '\n');
  while (in < lineEnd) {
    const char* const stop = find(in, lineEnd, '\r');
    const int length = static_cast<int>(stop - in);
    if (!vcardReserve(length)) return nullptr;
    if (length > 0) {
      std::memcpy(s.lineBuffer + s.lineLength, in, static_cast<std::size_t>(length));
      s.lineLength += length;
    }
    in = std::min(stop + 1, lineEnd);
  }
  return in;
}

/// Characters of the alphabet; padding and errors are looked at one by one.
const char* CARDCAL_Parser::takeBase64(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  while (in < end) {
    if (s.base64Count == 0 && end - in >= 4) {
      const char* const before = in;
      in = takeQuartets(in, end);
      if (in == nullptr) return nullptr;
      if (in != before) continue;
    }
    // A quartet that is full already was refused, and is again by who looks at it.
    if (s.base64Count == 4 || kOrds[static_cast<unsigned char>(*in)] == kInvalidOrd) return in;
    s.pending[s.base64Count++] = *in++;
    if (s.base64Count == 4 && !decodeBase64Quartet()) return nullptr;
  }
  return in;
}

/// Whole quartets that stand together.
const char* CARDCAL_Parser::takeQuartets(const char* in, const char* end) {
  CARDCAL_State& s = *m_state;
  const int count = static_cast<int>(std::min<long>((end - in) / 4, kBase64Run));
  if (!vcardReserve(count * 3 + 1)) return nullptr;
  char* out = s.lineBuffer + s.lineLength;
  for (const char* const stop = in + 4 * count; in < stop; in += 4) {
    const std::uint32_t bits = quartetBits(in);
    if ((bits & kInvalidQuartet) != 0) break;
    out = putQuartet(out, bits);
  }
  s.lineLength = static_cast<int>(out - s.lineBuffer);
  return in;
}

// An end of line counts only once the first byte of the next line shows that it isn't continued
// there.
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
    if (!s.foldSeen && isWhiteSpace(c)) {
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

/// Passes on what stands for the line break before this line: its end, or a space where the line is
/// continued.
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

/// Makes room for this many bytes behind those in use.
int CARDCAL_Parser::vcardReserve(int bytes) {
  CARDCAL_State& s = *m_state;
  if (s.lineCapacity - s.lineLength >= bytes) return 1;
  const int step = s.lineCapacity < kLargeLine ? kLineStep : s.lineCapacity;
  const long needed = long{s.lineLength} + bytes;
  const long capacity =
      std::max(long{s.lineLength} + step, (needed + kLineStep - 1) / kLineStep * kLineStep);
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

int CARDCAL_Parser::vcardAddCharacterToCurrentLine(char c) {
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

int CARDCAL_Parser::vcardPropertyEnd() {
  CARDCAL_State& s = *m_state;
  if (!vcardAddCharacterToCurrentLine('\0')) return 0;
  int nameOffset = 0;
  if (!vcardSplitGroup(nameOffset)) return 0;
  vcardReadEncoding();
  if (!vcardBuildParameterList()) return 0;
  if (!vcardAddParameter(0)) return 0;
  s.paramsExamined = s.paramCount;
  if (!propHandler(s.lineBuffer + nameOffset, s.list)) return 0;
  s.state = kPropData;
  s.lineLength = 0;
  return 1;
}

/// Finds where the property's name begins, behind the group if there is one. The group is cut off
/// by the first evaluation: a later one finds it as the name, and no dot that would have to be
/// looked for again.
int CARDCAL_Parser::vcardSplitGroup(int& nameOffset) {
  CARDCAL_State& s = *m_state;
  nameOffset = 0;
  if (s.evaluations++ > 0) return 1;
  char* dot = std::strchr(s.lineBuffer, '.');
  if (dot == nullptr) return 1;
  *dot = '\0';
  nameOffset = static_cast<int>(dot + 1 - s.lineBuffer);
  return groupHandler(s.lineBuffer);
}

/// Takes the encoding from the parameters that were not examined yet; the last one that names an
/// encoding decides.
void CARDCAL_Parser::vcardReadEncoding() {
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

/// Turns offsets into the list of pointers that handlers get. It ends where the first evaluation
/// ended, and is made anew only where the buffer has moved since.
int CARDCAL_Parser::vcardBuildParameterList() {
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
  if (isWhiteSpace(c)) return 1;
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processCharacter_paramBN(char c) {
  if (c == ':') {
    vcardResetCurrentLine();
    return 0;
  }
  if (isWhiteSpace(c)) return 1;
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
  if (isWhiteSpace(c)) return 1;
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processCharacter_paramBV(char c) {
  if (c == ':' || c == ';') {
    vcardResetCurrentLine();
    return 0;
  }
  if (isWhiteSpace(c)) return 1;
  if (!vcardSetParameterValue(m_state->lineLength)) return 0;
  m_state->state = kParamIV;
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processCharacter_paramIV(char c) {
  CARDCAL_State& s = *m_state;
  if (c == ':') {
    // A property that is refused here doesn't end the reading: its data are taken for more of the
    // value.
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
  } else if (isWhiteSpace(c)) {
    return 1;
  }
  return vcardAddCharacterToCurrentLine(c);
}

int CARDCAL_Parser::processCharacter_propData(char c) {
  CARDCAL_State& s = *m_state;
  if (c == '\n') return processDataLineEnd();
  if (c == '\r') return 1;
  if (s.startOfData) {
    if (isWhiteSpace(c)) {
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
  if (s.base64Count < 4 && !isWhiteSpace(c)) s.pending[s.base64Count++] = c;
  return s.base64Count < 4 ? 1 : decodeBase64Quartet();
}

int CARDCAL_Parser::decodeBase64Quartet() {
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
  std::memset(s.pending, 0, sizeof s.pending);
  s.base64Count = 0;
  return 1;
}

int CARDCAL_Parser::processDataLineEnd() {
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

unsigned char CARDCAL_Parser::Base64ToOrd(char c) { return kOrds[static_cast<unsigned char>(c)]; }
