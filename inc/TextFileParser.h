#ifndef ZEPH_INC_TEXTFILEPARSER_H_
#define ZEPH_INC_TEXTFILEPARSER_H_

#include <cstdio>

#include "SeqOf.h"
#include "SeqOfPtr.h"
#include "TextString.h"

// Gives the lines of a text file one at a time, following its
// "#include "name"" lines into other files. "#" starts a comment anywhere
// in a line, a line that begins with "//" is a comment, and empty lines
// are passed over. location() names the line last read, for messages.
//
//   TextFileParser parser;
//   TextString line;
//   if (parser.open("radarInfo.txt"))
//     while (parser.nextLine(line)) ...
class TextFileParser {
 public:
  TextFileParser();
  ~TextFileParser();
  TextFileParser(const TextFileParser&) = delete;
  TextFileParser& operator=(const TextFileParser&) = delete;

  // Finds the file along the search paths and reads it from now on; when it
  // ends, reading goes on in the file that was current before.
  bool open(const TextString& name);
  bool nextLine(TextString& text);
  // "line N in file PATH" of the line last read.
  TextString location() const;

  // Splits at white space; answers the number of pieces.
  static int tokens(const TextString& text, SeqOf<TextString>& list);
  // Splits at the one character, white space around each piece dropped;
  // empty pieces count. A text of white space alone has no pieces.
  static int tokens(const TextString& text, char delimiter,
                    SeqOf<TextString>& list);

 private:
  void closeCurrent();

  FILE* _file;
  TextString _fileName;
  long _lineNumber;
  SeqOfPtr<FILE*> _fileStack;
  SeqOf<TextString> _nameStack;
  SeqOf<long> _lineStack;
};

#endif  // ZEPH_INC_TEXTFILEPARSER_H_
