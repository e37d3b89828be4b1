#pragma once

struct CARDCAL_State;

/// Tokenizer for vCard-style text: unfolds lines, splits each logical line into group, property
/// name, parameters and data, decodes quoted-printable and BASE64, and calls the handlers of a
/// subclass. Knows nothing about the meaning of properties.
///
/// Safe for any input, in linear time; memory is a small multiple of the longest logical line.
/// Operations return 1 for success and 0 for failure. `parse` stops at the first 0, except that it
/// ignores a handler's refusal inside a parameter value. Failures are only traced.
///
/// Not thread-safe. Arguments of handlers are valid during the call only.
class CARDCAL_Parser {
 public:
  CARDCAL_Parser();
  /// Frees the buffers, but not the small state block.
  virtual ~CARDCAL_Parser();
  CARDCAL_Parser(const CARDCAL_Parser&) = delete;
  CARDCAL_Parser& operator=(const CARDCAL_Parser&) = delete;

  /// Starts a property. `params` holds name, value, name, value, ... and ends with a null name; a
  /// parameter without "=" has a null value.
  virtual int propHandler(const char* name, const char** params) = 0;
  /// Called with the property's decoded data, `len` bytes and a terminating zero byte, if there are
  /// any; then with (null, 0) to end the property.
  virtual int dataHandler(const char* data, int len) = 0;
  /// Called before `propHandler` with the text before the first "." of the name part, if any.
  virtual int groupHandler(const char* group) = 0;

  /// Reads a whole object of `len` bytes; the end counts as an end of line. Call once per parser.
  int parse(const unsigned char* data, int len);

 private:
  const char* takeRun(const char* in, const char* end);
  const char* takeNamePart(const char* in, const char* end);
  const char* takeOrdinary(const char* in, const char* end);
  const char* takeData(const char* in, const char* end);
  const char* takeDataOfLine(const char* in, const char* end);
  template <bool kQuoted>
  const char* takeText(const char* in, const char* end);
  const char* takeQuotedPrintable(const char* in, const char* end);
  const char* takeBase64(const char* in, const char* end);
  const char* takeQuartets(const char* in, const char* end);
  const char* gatherQuartet(const char* in, const char* end);
  int parseByte(char c);
  int startLine(char c);
  int vcardResetCurrentLine();
  int vcardAddCharacterToCurrentLine(char c);
  int vcardReserve(int bytes);
  int vcardGrow(int bytes);
  int vcardAddParameter(int nameOffset);
  int vcardSetParameterValue(int valueOffset);
  int vcardPropertyEnd();
  int vcardSplitGroup(int& nameOffset);
  void vcardReadEncoding();
  int vcardBuildParameterList();
  int vcardProcessCharacter(char c);
  int processCharacter_propName(char c);
  int processCharacter_paramBN(char c);
  int processCharacter_paramIN(char c);
  int processCharacter_paramBV(char c);
  int processCharacter_paramIV(char c);
  int processCharacter_propData(char c);
  int processQuotedPrintable(char c);
  int processBase64(char c);
  int decodeBase64Quartet();
  int decodePaddedQuartet();
  int clearPending();
  int processDataLineEnd();
  static unsigned char Base64ToOrd(char c);

  CARDCAL_State* m_state;
};
