#ifndef ZEPH_POINTDATA_TEXTFILEDICTSERVER_H_
#define ZEPH_POINTDATA_TEXTFILEDICTSERVER_H_

#include "Dict.h"
#include "LogStream.h"
#include "SeqOf.h"
#include "TextFileParser.h"
#include "TextString.h"

// Reads a table of lines, found along the search paths, into a dictionary:
// a derived class says in readEntry() how the next line becomes a key and
// a record. Comments, empty lines and includes are the parser's.
template <class K, class V>
class TextFileDictServer {
 public:
  explicit TextFileDictServer(const TextString& fileName)
      : _fileName(fileName) {}
  virtual ~TextFileDictServer() = default;
  TextFileDictServer(const TextFileDictServer&) = delete;
  TextFileDictServer& operator=(const TextFileDictServer&) = delete;

  // Every entry of the file into `dict`, and the keys in file order into
  // `order`; false, after logging, if the file can't be opened.
  bool read(Dict<K, V>& dict, SeqOf<K>& order) {
    if (!_parser.open(_fileName)) {
      ZLOG(LogStream::PROBLEM) << "Can't open file " << _fileName << std::endl;
      return false;
    }
    K key;
    V record;
    while (readEntry(key, record)) {
      if (!dict.lookup(key)) order.append(key);
      dict.insert(key, record);
    }
    return true;
  }

 protected:
  // The next usable line's key and record; false at the end of the file.
  virtual bool readEntry(K& key, V& record) = 0;

  TextFileParser _parser;

 private:
  TextString _fileName;
};

#endif  // ZEPH_POINTDATA_TEXTFILEDICTSERVER_H_
