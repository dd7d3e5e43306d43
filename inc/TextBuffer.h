#ifndef ZEPH_INC_TEXTBUFFER_H_
#define ZEPH_INC_TEXTBUFFER_H_

#include "SeqOf.h"
#include "TextString.h"

// A whole text file as its logical lines, found along the search paths:
// "//" comments are cut, a line that held only a comment is gone, a
// backslash at the end joins the next line, and an "#include "name"" line
// stands for the lines of that file. Empty lines stay. A file that isn't
// found gives no lines.
class TextBuffer {
 public:
  explicit TextBuffer(const TextString& name);
  virtual ~TextBuffer();

  int numLines() const { return _lines.length(); }
  const TextString& operator[](int index) const { return _lines[index]; }
  const SeqOf<TextString>& lines() const { return _lines; }

  // Writes each line and a newline to the path, variables expanded.
  bool write(const TextString& path) const;

 private:
  void read(const TextString& name, int depth);
  void addLine(const TextString& line, int depth);

  SeqOf<TextString> _lines;
};

#endif  // ZEPH_INC_TEXTBUFFER_H_
