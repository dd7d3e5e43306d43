#include "dmNotify.h"

#include "ArgPkg.h"
#include "DataTimeWire.h"
#include "ParameterizedMsg.h"

namespace {

const short kNotification = 10;

bool recording = false;

std::vector<SentNotification>& sent() {
  static std::vector<SentNotification>* list = new std::vector<SentNotification>;
  return *list;
}

}  // namespace

bool dmNotify(unsigned long key, const DataTime& dataTime) {
  IPC_Target server("NOTIFICATION_SERVER");
  DataMgmtMsg message(kNotification,
                      new ArgPkg2<unsigned long, DataTime>(key, dataTime));
  message.send(server);
  if (recording) sent().push_back(SentNotification{key, dataTime});
  return true;
}

void recordNotifications(bool on) { recording = on; }

const std::vector<SentNotification>& sentNotifications() { return sent(); }

void clearSentNotifications() { sent().clear(); }
