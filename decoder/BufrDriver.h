#ifndef ZEPH_DECODER_BUFRDRIVER_H_
#define ZEPH_DECODER_BUFRDRIVER_H_

#include "BufrDecoderList.h"

// The decoder process: it reports to the data controller that started it,
// makes the decoders its product name asks for, drains their directories,
// registers for their products and then waits, handling one product
// message at a time. Called with the process's arguments: the parent's
// target, the id the parent gave it, the product name. Answers the exit
// code: 1 for a refusal at start, 0 when the connection is beyond repair.
// `extraWords` lets a program bring decoders of its own.
int runBufrDriver(int argc, char** argv,
                  const BufrDecoderList::ProductWord* extraWords = nullptr,
                  int extraCount = 0);

// The process's decoders, and the one that handles the current message
// (null when none matched).
BufrDecoderList& decoderList();
extern BufrDecoderList::DecoderObjectInfo* currentDecoder;

// The handlers of product messages: with one decoder any message wakes it;
// with several the message's text names the product.
void processMsg_Single(long, long dataLength, unsigned char* data);
void processMsg_Multiple(long, long dataLength, unsigned char* data);

#endif  // ZEPH_DECODER_BUFRDRIVER_H_
