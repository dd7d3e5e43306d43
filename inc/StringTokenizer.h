#ifndef ZEPH_INC_STRINGTOKENIZER_H_
#define ZEPH_INC_STRINGTOKENIZER_H_

#include <iosfwd>

#include "TextString.h"

// Cuts a text by a set of delimiter characters; every bar-separated table and
// attribute list of the system is read with it. Without `returnTokens` runs
// of delimiters count as one, so an empty field between two bars vanishes
// and delimiters at either end yield no empty token.
class StringTokenizer {
 public:
  StringTokenizer(const TextString& text, const TextString& delimiters,
                  bool returnTokens = false);
  // Splits at blank, tab, newline and carriage return.
  explicit StringTokenizer(const TextString& text);

  bool hasMoreTokens() const;
  // Takes the next token and everything before it off the text; the empty
  // text when no token is left.
  TextString nextToken();
  int countTokens() const;

  friend std::ostream& operator<<(std::ostream& out,
                                  const StringTokenizer& tokenizer);

 private:
  bool isDelimiter(char c) const;
  bool nextTokenRange(unsigned start, unsigned& tokenStart,
                      unsigned& tokenEnd) const;
  long findTokenEnd(unsigned start) const;

  TextString _text;
  TextString _delim;
  bool _returnTokens;
};

#endif  // ZEPH_INC_STRINGTOKENIZER_H_
