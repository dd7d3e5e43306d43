#include "BufrDecoderList.h"

#include "AcarsBufrDecoder.h"
#include "BufrDecoder.h"
#include "GOESBufrDecoder.h"
#include "HDWBufrDecoder.h"
#include "LogStream.h"
#include "ModelBufrDecoder.h"
#include "POESBufrDecoder.h"
#include "ProfBufrDecoder.h"
#include "QuikScatBufrDecoder.h"

namespace {

// An anchor after a character: no text has its start there.
const char kMatchesNothing[] = "x^";

template <class Decoder>
BufrDecoder* make() {
  return new Decoder;
}

// The order of this table is the order of creation, and of the search for
// a product id's decoder.
const BufrDecoderList::ProductWord kProductWords[] = {
    {"model", "Object for decoding Model Sounding data created",
     make<ModelBufrDecoder>},
    {"goes", "Object for decoding GOES Sounding data created",
     make<GOESBufrDecoder>},
    {"poes", "Object for decoding POES Sounding data created",
     make<POESBufrDecoder>},
    {"acars", "Object for decoding ACARS data created",
     make<AcarsBufrDecoder>},
    {"csw", "Object for decoding SSEC High Density Winds data created",
     make<HDWBufrDecoder>},
    {"prof", "Object for decoding profiler data created",
     make<ProfBufrDecoder>},
    {"quikscat", "Object for decoding Seawinds data created",
     make<QuikScatBufrDecoder>},
};

}  // namespace

// The elements of the sequence are the only holders of their compiled
// patterns by now: each is freed once.
BufrDecoderList::~BufrDecoderList() {
  for (int i = 0; i < _decoders.length(); ++i) {
    delete _decoders.at(i).decoder;
    regfree(&_decoders[i].compiledPattern);
  }
}

void BufrDecoderList::addProductWords(const ProductWord* words, int count) {
  for (int i = 0; i < count; ++i) _extraWords.append(words[i]);
}

bool BufrDecoderList::createDecoders(TextString productName) {
  productName.toLower();
  unsigned position = 0;
  for (const ProductWord& word : kProductWords)
    if (productName.search(word.word, position)) create(word);
  for (int i = 0; i < _extraWords.length(); ++i)
    if (productName.search(_extraWords.at(i).word, position))
      create(_extraWords.at(i));
  return _decoders.length() > 0;
}

void BufrDecoderList::create(const ProductWord& word) {
  ZLOG(LogStream::EVENT) << word.createdLine << std::endl;
  DecoderObjectInfo info;
  info.decoder = word.create();
  info.pattern = info.decoder->getBufrPatterns();
  // An empty pattern (its file couldn't be read) or one that doesn't
  // compile matches no id: the decoder keeps its place in the list without
  // taking the products of the decoders behind it.
  if (info.pattern.isEmpty() ||
      regcomp(&info.compiledPattern, info.pattern.chars(), REG_EXTENDED) != 0)
    regcomp(&info.compiledPattern, kMatchesNothing, REG_EXTENDED);
  _decoders.append(info);
}

TextString BufrDecoderList::dataRequestPattern() const {
  TextString pattern;
  for (int i = 0; i < _decoders.length(); ++i) {
    if (i > 0) pattern += "|";
    pattern += _decoders.at(i).pattern;
  }
  return pattern;
}

BufrDecoderList::DecoderObjectInfo* BufrDecoderList::findDecoder(
    TextString productId) {
  for (int i = 0; i < _decoders.length(); ++i) {
    regmatch_t match[1];
    if (regexec(&_decoders[i].compiledPattern, productId.chars(), 1, match,
                0) == 0)
      return &_decoders[i];
  }
  return nullptr;
}

BufrDecoderList::DecoderObjectInfo* BufrDecoderList::decoderAt(int index) {
  if (index < 0 || index >= _decoders.length()) return nullptr;
  return &_decoders[index];
}

void BufrDecoderList::processAllDirectories() {
  for (int i = 0; i < _decoders.length(); ++i)
    _decoders.at(i).decoder->processBufrDirectory();
}

int BufrDecoderList::shortestPeriod() const {
  int shortest = 0;
  for (int i = 0; i < _decoders.length(); ++i) {
    int period = _decoders.at(i).decoder->registrationPeriod();
    if (i == 0 || period < shortest) shortest = period;
  }
  return shortest;
}
