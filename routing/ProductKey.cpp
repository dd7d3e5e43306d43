#include "ProductKey.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "FileWords.h"
#include "LogStream.h"

namespace {

TextString patternsPath() {
  const char* home = std::getenv("ZEPH_HOME");
  return TextString(home ? home : "") + "/data/patterns.txt";
}

}  // namespace

SeqOf<TextString>* readPatterns() {
  TextString path = patternsPath();
  FILE* file = std::fopen(path.chars(), "r");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM) << "unable to open " << path << std::endl;
    return nullptr;
  }
  SeqOf<TextString>* words = new SeqOf<TextString>;
  TextString word;
  while (readFileWord(file, word)) words->append(word);
  if (std::ferror(file)) {
    ZLOG(LogStream::PROBLEM) << "unable to read a pattern - "
                             << std::strerror(errno) << std::endl;
    delete words;
    std::fclose(file);
    return nullptr;
  }
  std::fclose(file);
  return words;
}

const char* findKey(const char* message, int length) {
  static SeqOf<TextString>* words = nullptr;
  static char key[kLongestKey + 1];
  if (words == nullptr && (words = readPatterns()) == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Unable to read the patterns file"
                             << std::endl;
    return nullptr;
  }
  if (message == nullptr || length < 0) return nullptr;
  for (int pos = 0; pos < length; ++pos) {
    for (int w = 0; w < words->length(); ++w) {
      const TextString& word = (*words)[w];
      if (word.length() > static_cast<unsigned>(length - pos) ||
          std::memcmp(message + pos, word.chars(), word.length()) != 0)
        continue;
      int n = length < kLongestKey ? length : kLongestKey;
      std::strncpy(key, message + pos, n);
      key[n] = '\0';
      if (char* blank = std::strchr(key, ' ')) *blank = '\0';
      return key;
    }
  }
  return nullptr;
}
