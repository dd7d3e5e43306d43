#include "dmNotify.h"

namespace {

std::vector<SentNotification>& sent() {
  static std::vector<SentNotification>* list = new std::vector<SentNotification>;
  return *list;
}

}  // namespace

bool dmNotify(unsigned long key, const DataTime& dataTime) {
  sent().push_back(SentNotification{key, dataTime});
  return true;
}

const std::vector<SentNotification>& sentNotifications() { return sent(); }

void clearSentNotifications() { sent().clear(); }
