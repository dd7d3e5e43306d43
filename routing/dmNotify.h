#ifndef ZEPH_ROUTING_DMNOTIFY_H_
#define ZEPH_ROUTING_DMNOTIFY_H_

#include <vector>

#include "DataTime.h"

// Tells the notification server ("NOTIFICATION_SERVER") that data of `key`
// and `dataTime` exist. Answers true: a notification that can't be
// delivered is the sending layer's concern, and the sender learns nothing.
bool dmNotify(unsigned long key, const DataTime& dataTime);

// A process that wants to see what it notified (a test, a benchmark) turns
// recording on; every notification sent from then on is kept, in order,
// beside going out. Off by default, so a long-running decoder keeps
// nothing.
struct SentNotification {
  unsigned long key;
  DataTime dataTime;
};
void recordNotifications(bool on);
const std::vector<SentNotification>& sentNotifications();
void clearSentNotifications();

#endif  // ZEPH_ROUTING_DMNOTIFY_H_
