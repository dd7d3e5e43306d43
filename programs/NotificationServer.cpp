// The notification server: it takes the named target NOTIFICATION_SERVER
// and writes each notification of new data to its log, as a person reads
// it:
//
//   Notification: key 10001 (ETA soundings), data time 2024-03-22 12:00:00
//
// with " forecast N s" behind a forecast's time. It ends by a signal.
#include "ArgPkg.h"
#include "Connection.h"
#include "DM_DataAccessInfo.h"
#include "DataTimeWire.h"
#include "Dispatcher.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "Receiver.h"
#include "SignalCatcher.h"
#include "SocketConnection.h"

namespace {

const short kNotification = 10;

class Notifications : public Receiver {
 public:
  void receive(const short& type, const IPC_Target& sender, long argLength,
               char* args) override {
    if (type != kNotification) {
      ZLOG(LogStream::BUG) << "NotificationServer: unrecognized message type "
                           << type << " from " << sender << std::endl;
      return;
    }
    ArgPkg2<unsigned long, DataTime> pkg;
    pkg.quantize(args, args + argLength);
    if (pkg.arg2.isNull()) {
      ZLOG(LogStream::PROBLEM) << "NotificationServer: notification from "
                               << sender << " without a data time dropped"
                               << std::endl;
      return;
    }
    // Key 0 is a product without a key of its own (RUC and NGM soundings).
    DM_DataAccessInfo info;
    if (pkg.arg1 != 0) info = DM_DataAccessInfo(pkg.arg1);
    ZLOG(LogStream::EVENT)
        << "Notification: key " << pkg.arg1 << " ("
        << (info.isValid() ? info.name()
                           : TextString(pkg.arg1 ? "unknown key" : "no key"))
        << "), data time "
        << pkg.arg2.refTime().format("%Y-%m-%d %H:%M:%S") << forecast(pkg.arg2)
        << std::endl;
  }

 private:
  static TextString forecast(const DataTime& time) {
    if (time.forecast() == 0) return TextString();
    return TextString(" forecast ") +
           TextString(std::to_string(time.forecast()).c_str()) + " s";
  }
};

}  // namespace

int main() {
  SignalCatcher::instance();
  SocketConnection::start();
  if (!Connection::setProcessTarget(IPC_Target("NOTIFICATION_SERVER")))
    return 1;
  static Notifications notifications;
  Dispatcher::registerReceiver(2, &notifications);
  ZLOG(LogStream::EVENT) << "NotificationServer is serving" << std::endl;
  EventDispatcher::instance().start(0);
  return 0;
}
