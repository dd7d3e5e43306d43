#ifndef ZEPH_DECODER_BUFRDECODERLIST_H_
#define ZEPH_DECODER_BUFRDECODERLIST_H_

#include <regex.h>

#include "SeqOf.h"
#include "TextString.h"

class BufrDecoder;

// The product decoders of one process, made from the product name of its
// command line, each with the pattern of product ids it takes. The list
// owns the decoders; it is filled once and lives as long as the process.
class BufrDecoderList {
 public:
  // A copy shares what the compiled pattern points to: it is freed only
  // with the list.
  struct DecoderObjectInfo {
    TextString pattern;
    regex_t compiledPattern;
    BufrDecoder* decoder = nullptr;
  };

  // A word that may stand in a product name, the class it makes, and the
  // line that says so.
  struct ProductWord {
    const char* word;
    const char* createdLine;
    BufrDecoder* (*create)();
  };

  BufrDecoderList() = default;
  ~BufrDecoderList();
  BufrDecoderList(const BufrDecoderList&) = delete;
  BufrDecoderList& operator=(const BufrDecoderList&) = delete;

  // Words after those of the system's seven products, tried in the same
  // way: a program built on this library may bring decoders of its own.
  void addProductWords(const ProductWord* words, int count);

  // Makes a decoder for each product word found anywhere in the name, in
  // the order of the word table, whatever the case. Answers whether there
  // is at least one.
  bool createDecoders(TextString productName);
  // The decoders' patterns in list order, one "|" between two.
  TextString dataRequestPattern() const;
  // The first decoder whose pattern finds the id; null for none.
  DecoderObjectInfo* findDecoder(TextString productId);
  DecoderObjectInfo* decoderAt(int index);
  void processAllDirectories();
  // The smallest registration period, in tenths of a second.
  int shortestPeriod() const;
  int length() const { return _decoders.length(); }

 private:
  void create(const ProductWord& word);

  SeqOf<DecoderObjectInfo> _decoders;
  SeqOf<ProductWord> _extraWords;
};

#endif  // ZEPH_DECODER_BUFRDECODERLIST_H_
