#pragma once

struct CARDCAL_State;

/// Reads vCard-style text character by character: unfolds continued lines, cuts each logical line
/// into group, property name, parameters and data, undoes quoted-printable and BASE64, and hands
/// the pieces to the three handlers that a subclass implements. Knows nothing of what properties
/// mean.
///
/// The bytes are a stranger's: any input is safe, and the work grows linearly with its size.
/// Operations return 1 for success and 0 for failure; the first 0, a handler's or an own one, ends
/// `parse`. Messages go to the log as traces.
///
/// Threads: one object belongs to one thread. Handlers' arguments are valid during the call only.
/// What `parse` holds in memory is a small multiple of the longest logical line.
class CARDCAL_Parser {
 public:
  CARDCAL_Parser();
  /// Frees the buffers. The small state block stays allocated.
  virtual ~CARDCAL_Parser();
  CARDCAL_Parser(const CARDCAL_Parser&) = delete;
  CARDCAL_Parser& operator=(const CARDCAL_Parser&) = delete;

  /// The name and parameters of a property are complete. `params` holds name, value, name, value,
  /// ... and ends with a null name; a parameter without "=" has a null value.
  virtual int propHandler(const char* name, const char** params) = 0;
  /// The decoded data of the property, `len` bytes and a zero byte behind them; then once (null, 0)
  /// at its end. A property without data gets the second call only.
  virtual int dataHandler(const char* data, int len) = 0;
  /// The text before the first "." of the name part; comes before `propHandler`.
  virtual int groupHandler(const char* group) = 0;

  /// Reads `len` bytes, a whole object: it ends with an end of line whether or not the data do.
  /// Once for each parser.
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
