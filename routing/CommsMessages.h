#ifndef ZEPH_ROUTING_COMMSMESSAGES_H_
#define ZEPH_ROUTING_COMMSMESSAGES_H_

#include "AbsTime.h"
#include "FrameReader.h"
#include "ParameterizedMsg.h"
#include "SeqOf.h"
#include "TextString.h"

// The messages of module 0 between product sources, the comms router and
// its clients:
//
//   4  LDM message   tag, length, product bytes          source to router
//   5  DS message    key, tag, length, then the bytes    source to router
//                    plainly, without a count of their own
//   6  CR message    the client's pattern                client to router
//   7  CD message    key, tag, length, product bytes     router to client
//   8  as 5                                              source to router
//   9  restart       the router's time                   router to clients
//
// The tag passes through unread.
enum CommsMessageType : short {
  kLdmMsg = 4,
  kDsMsg = 5,
  kCommsReqMsg = 6,
  kCommsDataMsg = 7,
  kDsMsgAlso = 8,
  kRouterRestartMsg = 9
};

// A product goes out to clients as a CD message, whose bytes take four on
// the wire each: this many bytes and no more fit into a message.
const long kLargestProduct = (FrameReader::kLargestMessage - 4096) / 4;

using LdmArgs = ArgPkg3<long, long, SeqOf<unsigned char>>;
using CommsDataArgs = ArgPkg4<TextString, long, long, SeqOf<unsigned char>>;

// The arguments of a DS message: the bytes stand plainly behind the three
// numbers, so a reader takes them from the buffer where they lie.
class DsArgs : public ArgPkgABC {
 public:
  DsArgs(const TextString& key, long tag, long length,
         const unsigned char* data);
  char* serialize(char* pos) const override;
  unsigned long length() const override;

 private:
  TextString _key;
  long _tag;
  SeqOf<unsigned char> _bytes;
};

// The makers. A source that ends right after its sends asks for delivery
// mode 1, so that nothing waits on a send thread when it exits.
CommsMessage* newLdmMsg(long tag, const SeqOf<unsigned char>& product,
                        int deliveryMode = 0);
CommsMessage* newDsMsg(const TextString& key, long tag, long length,
                       const unsigned char* data, short type = kDsMsg,
                       int deliveryMode = 0);
CommsMessage* newCommsReqMsg(const TextString& pattern);
CommsMessage* newCommsDataMsg(const TextString& key, long tag, long length,
                              const unsigned char* data);
CommsMessage* newRouterRestartMsg(const AbsTime& now);

#endif  // ZEPH_ROUTING_COMMSMESSAGES_H_
