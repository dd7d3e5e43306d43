#ifndef ZEPH_BUFR_BUFRDECODER_H_
#define ZEPH_BUFR_BUFRDECODER_H_

#include <regex.h>

#include "AbsTime.h"
#include "BufrValues.h"
#include "CompressedColumns.h"
#include "Dict.h"
#include "SeqOf.h"
#include "Set.h"
#include "TextString.h"

class BufrDecoderTestPeer;
class GDataDescOps;
class NcAtt;
class NcValues;
class NcVar;
class RepetitionCursor;

// The abstract base of the product decoders: everything that knows the
// BUFR code form (editions 2 and 3) and nothing of a product. A product
// hands it one file's content; it finds the message, walks Sections 0 to 5
// and leaves a flat list of values in `_decodedValues`.
//
// Decoding isn't reentrant: the coding tables, the state of the operators
// and the compressed reader are shared by all decoders of the process.
class BufrDecoder {
 public:
  BufrDecoder();
  virtual ~BufrDecoder();
  BufrDecoder(const BufrDecoder&) = delete;
  BufrDecoder& operator=(const BufrDecoder&) = delete;

  // Tenths of a second between registrations with the data controller.
  virtual int registrationPeriod() = 0;
  virtual TextString patternFileName() = 0;
  virtual TextString productName() = 0;
  virtual void processBufrDirectory() = 0;
  virtual bool preprocessDecodedValues() { return true; }
  virtual int write2NetcdfFile() { return 1; }
  virtual bool sendNotification() { return true; }

  // True if Sections 0 to 4 were decoded. `size` bounds every read: the
  // lengths inside the message are tested against it.
  bool decodeMessage(const unsigned char* buffer, unsigned size);
  static int splitDescriptor(int descriptor, int& x, int& y);

  // What the last message gave; for tools and tests.
  const SeqOf<BufrValues>& decodedValues() const { return _decodedValues; }
  const SeqOf<int>& descriptors() const { return _descriptors; }
  const SeqOf<SeqOf<int>>& replDescList() const { return _replDescList; }
  const SeqOf<SeqOf<int>>& nestedRepList() const { return _nestedRepList; }
  const SeqOf<int>& replCounts() const { return _replCounts; }
  AbsTime obTime() const { return _obTime; }
  int dataCategory() const { return _dataCategory; }
  int subsets() const { return _subsets; }
  bool compressed() const { return _compressed; }

  static bool tablesLoaded();

  // Patterns and the mapping of values to netCDF variables.
  //
  // Reads the product's pattern file once in the process: the data request
  // pattern it composes, and into this decoder the data format codes and
  // the compiled regional designators. Empty if the file can't be read.
  TextString getBufrPatterns();
  static bool matchesDesignator(TextString text, regex_t expression);
  // Table B name to netCDF variable name, from the `attribute` of each
  // variable of a template; empty if the template can't be opened.
  static Dict<TextString, TextString> readTemplateDict(TextString path,
                                                       TextString attribute);
  static bool ncVarNameForDescriptor(int descriptor, TextString& name,
                                     const Dict<TextString, TextString>& dict);
  static SeqOf<TextString> getTokens(NcValues* values);
  static bool printDict(const Dict<TextString, TextString>& dict);
  // The capital letters A to Z of a text, in order.
  static TextString upperCaseLetters(const TextString& text);

  const Set<TextString>& prefixes() const { return _prefixes; }
  const Dict<TextString, regex_t*>& designators() const { return _designators; }

 protected:
  AbsTime _obTime;
  int _dataCategory;
  Set<TextString> _prefixes;
  Dict<TextString, regex_t*> _designators;
  int _subsets;
  SeqOf<BufrValues> _decodedValues;
  // The values of the message before, kept so that their array can be
  // reused, and the columns of a compressed message.
  SeqOf<BufrValues> _valueStore;
  CompressedColumns _columns;

 private:
  friend class BufrDecoderTestPeer;
  friend class GDataDescOps;

  // Sections.
  const unsigned char* skipHeader(const unsigned char* buffer);
  unsigned char* decodeSection0(unsigned char* buffer);
  unsigned char* decodeSection1(unsigned char* message);
  unsigned char* decodeSection2(unsigned char* section);
  unsigned char* decodeSection3(unsigned char* section);
  unsigned char* decodeSection4(unsigned char* section, bool& ok);
  bool readSectionLength(int number, const unsigned char* section, int& length);
  void checkSection5(const unsigned char* section);

  // Descriptor expansion.
  void expandDescriptors(const unsigned char* octets);
  bool expandSequence(int descriptor);
  void expandFixedReplication(int x, int y, int& index, SeqOf<int>& list);
  void expandNestedReplication(int x, int y, SeqOf<int>& group, int index,
                               SeqOf<int>& list);
  void beginDelayedReplication(int factor, SeqOf<int>& list);
  bool element(int descriptor, SeqOf<int>& group, SeqOf<int>& list,
               int& index);
  bool lookupSequence(int descriptor, SeqOf<int>& members);
  int readDescriptor();
  void printDescriptorLists();
  bool expansionTooLarge();

  // Data section.
  enum class WalkStep { kNext, kFactor, kFailed };
  WalkStep standardStep(int subset, SeqOf<int>& list, int& index,
                        RepetitionCursor& repetition, bool operatorsTakePlaces,
                        float& value);
  void startDataPass();
  bool decodeStandardData();
  bool decodeCompressedData();
  bool decodeNestedGroup(int nestIndex);
  float getStandardValue(int descriptor, TextString& text);
  float getCompressedValue(int descriptor, bool lastSubset, TextString& text);
  bool expandDelayedGroup(int count, SeqOf<int>& list, SeqOf<int>& repSeq,
                          int factorIndex, int group);
  bool insertRepeatedGroup(const SeqOf<int>& group, SeqOf<int>& list,
                           SeqOf<int>& repSeq, int behind, int count);
  void makeTimeValues();
  void orderBySubset(const CompressedColumns& columns);
  bool decodeCompressedFactor(int descriptor, SeqOf<int>& list,
                              SeqOf<int>& repSeq, int index, int groupIndex);
  bool readCompressedColumn(int descriptor, int repetition, int& valueNumber);
  int readIncrements(float* out, int from, int to);
  int readTexts(float* out, TextString* texts, int from, int to,
                int characterBits);
  bool valueLimitReached(int count);
  // Work is counted in units of about a nanosecond; a value or an operator
  // is this many, and a value that writes a log line (a descriptor missing
  // from Table B reads nothing and says so) the cost of the line.
  static constexpr long kStepWork = 16;
  static constexpr long kLoggedValueWork = 2048;
  bool spendWork(long units);
  bool widthInRange(int width, int descriptor);
  void printDecodedValues();

  void addDesignator(const TextString& code, const TextString& designator);
  static bool findAttributeTokens(NcVar* variable, const TextString& attribute,
                                  SeqOf<TextString>& tokens);
  static SeqOf<TextString> attributeTokens(NcAtt* attribute);

  // Operators.
  bool decodeSection2Desc(int x, int y, SeqOf<int>& list, int& index);
  void closeOpenOperators();

  // The bit reader over `_dataBuffer`. A read or move past its end sets
  // `_overrun`, answers zero bits, and the data pass then fails.
  unsigned peekBits(int n);
  int readSignedBits(int n);
  int takeBits(int& n);
  void moveBits(int n);
  void moveOctets(int n);
  TextString getCharacters(int count);
  TextString getWord(int count);
  bool copyCharacters(int count, char* out);
  bool checkOverrun(int descriptor);
  static void dumpOctets(const unsigned char* octets, int perRow, int start,
                         int count);

  int _numDescriptors;
  SeqOf<int> _descriptors;
  SeqOf<int> _replCounts;
  SeqOf<SeqOf<int>> _replDescList;
  SeqOf<SeqOf<int>> _nestedRepList;
  bool _replPending;
  bool _factorSeen;
  bool _signifyPending;
  bool _assocActive;
  int _assocBits;
  unsigned char* _dataBuffer;
  unsigned _dataLength;
  unsigned char* _readPtr;
  const unsigned char* _descPtr;
  bool _hasSection2;
  bool _compressed;
  int _bitPos;
  unsigned _compressedRef;
  int _section3Len;
  bool _overrun;
  bool _widthFault;
  int _sequenceDepth;
  bool _expansionTooLarge;
  long _expansionSteps;
  long _workLeft;
  const unsigned char* _messageEnd;
};

#endif  // ZEPH_BUFR_BUFRDECODER_H_
