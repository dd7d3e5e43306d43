#include "FileWords.h"

#include <cctype>

bool readFileWord(FILE* file, TextString& word) {
  word = "";
  int c;
  while ((c = std::getc(file)) != EOF && std::isspace(c)) {
  }
  while (c != EOF && !std::isspace(c)) {
    word += static_cast<char>(c);
    c = std::getc(file);
  }
  return !word.isEmpty();
}
