#ifndef ZEPH_INC_CONFIG_H_
#define ZEPH_INC_CONFIG_H_

#include <iosfwd>

#include "CartCoord2D.h"
#include "CartDomain2D.h"
#include "Dict.h"
#include "SeqOf.h"
#include "TextString.h"

// The process's named, typed settings, read from "zeph.config" along the
// search paths at the first use. A value is named "Section.word", and its
// type is that of the word, bound by a definition line:
//
//   int = numBytes, numMins
//   SocketBufferSize.numBytes: 65536
//   SocketConnectionTimeout.numMins: 3
//
// White space outside double quotes doesn't count. A name that was never
// set, or is asked for under another type, answers false: each caller has
// a default of its own. Bad lines are logged and passed over.
class Config {
 public:
  Config();
  ~Config();
  Config(const Config&) = delete;
  Config& operator=(const Config&) = delete;

  // The process's configuration, read at the first call.
  static Config& instance();

  // Reads the file found for the name; adds to and replaces what is there.
  void read(const TextString& fileName);

  bool get(const TextString& name, TextString& value) const;
  bool get(const TextString& name, SeqOf<TextString>& value) const;
  bool get(const TextString& name, CartCoord2D<float>& value) const;
  bool get(const TextString& name, CartCoord2D<int>& value) const;
  bool get(const TextString& name, SeqOf<int>& value) const;
  bool get(const TextString& name, SeqOf<float>& value) const;
  bool get(const TextString& name, int& value) const;
  bool get(const TextString& name, SeqOf<CartCoord2D<float>>& value) const;
  bool get(const TextString& name, float& value) const;
  bool get(const TextString& name, CartDomain2D<float>& value) const;

  void set(const TextString& name, const TextString& value);
  void set(const TextString& name, const SeqOf<TextString>& value);
  void set(const TextString& name, const CartCoord2D<float>& value);
  void set(const TextString& name, const CartCoord2D<int>& value);
  void set(const TextString& name, const SeqOf<int>& value);
  void set(const TextString& name, const SeqOf<float>& value);
  void set(const TextString& name, int value);
  void set(const TextString& name, const SeqOf<CartCoord2D<float>>& value);
  void set(const TextString& name, float value);
  void set(const TextString& name, const CartDomain2D<float>& value);

  // Every value, dictionary by dictionary.
  void configDump(std::ostream& out) const;

 private:
  typedef Dict<TextString, TextString> TypeDict;

  void readLine(const TextString& text, int number, TypeDict& types);
  void define(const TextString& line, unsigned equals, int number,
              TypeDict& types);
  bool assign(const TextString& line, int number, const TypeDict& types);
  bool store(const TextString& name, const TextString& type,
             const char* value, int number);
  template <class T>
  bool storeValue(Dict<TextString, T>& dict, const TextString& name,
                  const TextString& type, const char* value, int number);

  Dict<TextString, TextString> _tsDict;
  Dict<TextString, SeqOf<TextString>> _tsaDict;
  Dict<TextString, CartCoord2D<float>> _fcDict;
  Dict<TextString, CartCoord2D<int>> _icDict;
  Dict<TextString, SeqOf<int>> _iaDict;
  Dict<TextString, SeqOf<float>> _faDict;
  Dict<TextString, int> _intDict;
  Dict<TextString, SeqOf<CartCoord2D<float>>> _fcaDict;
  Dict<TextString, float> _floatDict;
  Dict<TextString, CartDomain2D<float>> _fdDict;
};

#endif  // ZEPH_INC_CONFIG_H_
