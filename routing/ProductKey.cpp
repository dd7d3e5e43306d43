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

// A product without a key is read to its end once per word; the first
// byte of the words lets most positions go at one look.
const char* findKey(const char* message, int length) {
  static SeqOf<TextString>* words = nullptr;
  static bool begins[256];
  static char key[kLongestKey + 1];
  if (words == nullptr) {
    if ((words = readPatterns()) == nullptr) {
      ZLOG(LogStream::PROBLEM) << "Unable to read the patterns file"
                               << std::endl;
      return nullptr;
    }
    for (int w = 0; w < words->length(); ++w)
      begins[static_cast<unsigned char>(words->at(w).chars()[0])] = true;
  }
  if (message == nullptr || length < 0) return nullptr;
  const SeqOf<TextString>& list = *words;
  for (int pos = 0; pos < length; ++pos) {
    if (!begins[static_cast<unsigned char>(message[pos])]) continue;
    for (int w = 0; w < list.length(); ++w) {
      const TextString& word = list.at(w);
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
