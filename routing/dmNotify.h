#ifndef ZEPH_ROUTING_DMNOTIFY_H_
#define ZEPH_ROUTING_DMNOTIFY_H_

#include <vector>

#include "DataTime.h"

// Tells the notification server that data of `key` and `dataTime` exist.
// Answers true: a notification that can't be delivered is the sending
// layer's concern.
bool dmNotify(unsigned long key, const DataTime& dataTime);

// Until notifications travel to the notification server, every call is
// kept here, in order, so that what a decoder would have sent can be seen.
struct SentNotification {
  unsigned long key;
  DataTime dataTime;
};
const std::vector<SentNotification>& sentNotifications();
void clearSentNotifications();

#endif  // ZEPH_ROUTING_DMNOTIFY_H_
