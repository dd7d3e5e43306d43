#include "BufrDriver.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "BufrDecoder.h"
#include "BufrSignalClient.h"
#include "CommsReceiver.h"
#include "DataRequest.h"
#include "FAC_Receiver.h"
#include "IPC_Target.h"
#include "LogStream.h"
#include "MessageWait.h"
#include "ProcMgmtReceiver.h"
#include "SignalCatcher.h"
#include "SocketConnection.h"

namespace {

// A product message shorter than this can't hold the product's id.
const long kShortestNotification = 40;
// Where the id stands behind the message's first point, and its length.
const unsigned kIdOffset = 5;
const unsigned kIdLength = 6;

BufrDecoderList processDecoders;
DataCallback messageHandler = nullptr;

// A decoder ends with the process that started it, as if it had been told
// to stop: a data controller that takes the place of a lost one starts
// decoders of its own, and two decoders of one product would write the
// same point files at once.
void endWithParent() {
  pid_t parent = getppid();
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) raise(SIGTERM);
}

void startIpc() {
  SocketConnection::start();
  CommsReceiver::instance();
  DataCaptReceiver::instance();
  ProcMgmtReceiver::instance();
  FAC_Receiver::instance();
}

// Asks the controller for the products of every decoder and says that this
// process is ready. Repeated after each period without a message: that
// repairs a lost ready, a lost connection and a restarted controller.
void registerWith(const IPC_Target& parent, const TextString& pattern) {
  requestData(parent, pattern, messageHandler);
}

int waitAndRegister(const IPC_Target& parent, const TextString& pattern) {
  const int period = decoderList().shortestPeriod();
  for (;;) {
    int status = waitForMessage(period);
    if (status == 0) continue;
    if (status == IPC_HOPELESS) {
      ZLOG(LogStream::EVENT) << "Connection status = IPC_HOPELESS. Exiting."
                             << std::endl;
      return 0;
    }
    ZLOG(LogStream::PROBLEM) << "No messages in time period. Re-registering."
                             << std::endl;
    registerWith(parent, pattern);
  }
}

}  // namespace

BufrDecoderList::DecoderObjectInfo* currentDecoder = nullptr;

BufrDecoderList& decoderList() { return processDecoders; }

int runBufrDriver(int argc, char** argv,
                  const BufrDecoderList::ProductWord* extraWords,
                  int extraCount) {
  // The handlers stand before anything else: a fault during set-up ends
  // the process in order too.
  SignalCatcher::instance();
  endWithParent();
  ZLOG(LogStream::EVENT) << "BufrDecoder process started" << std::endl;
  if (argc <= 3) {
    ZLOG(LogStream::PROBLEM) << argv[0] << " passed " << argc - 1
                             << " arguments, expected 3, exiting"
                             << std::endl;
    return 1;
  }
  startIpc();
  IPC_Target parent(argv[1], true);
  unsigned long childId = std::strtoul(argv[2], nullptr, 10);
  ZLOG(LogStream::EVENT) << "sending ChildTargetMsg to parent " << std::endl;
  sendChildTarget(parent, childId);

  decoderList().addProductWords(extraWords, extraCount);
  if (!decoderList().createDecoders(argv[3])) {
    ZLOG(LogStream::PROBLEM) << "No decoder objects were created for "
                             << argv[3] << " data. Exiting." << std::endl;
    return 1;
  }
  TextString pattern = decoderList().dataRequestPattern();
  if (pattern.isEmpty()) {
    ZLOG(LogStream::PROBLEM)
        << "Error constructing data request pattern. Exiting." << std::endl;
    return 1;
  }
  ZLOG(LogStream::EVENT)
      << "Sending following data request pattern to DataController: "
      << pattern << std::endl;
  if (decoderList().length() == 1) {
    messageHandler = processMsg_Single;
    currentDecoder = decoderList().decoderAt(0);
  } else {
    messageHandler = processMsg_Multiple;
  }
  SignalCatcher::instance().setClient(&BufrSignalClient::instance());
  decoderList().processAllDirectories();
  registerWith(parent, pattern);
  return waitAndRegister(parent, pattern);
}

void processMsg_Single(long, long dataLength, unsigned char*) {
  ZLOG(LogStream::DEBUG) << "processMsg_Single: data length = " << dataLength
                         << std::endl;
  currentDecoder->decoder->processBufrDirectory();
}

void processMsg_Multiple(long, long dataLength, unsigned char* data) {
  ZLOG(LogStream::DEBUG) << "processMsg_Multiple: data length = "
                         << dataLength << std::endl;
  if (dataLength < kShortestNotification) {
    ZLOG(LogStream::PROBLEM)
        << "Product id information not contained in ipc message" << std::endl;
    return;
  }
  TextString text(reinterpret_cast<const char*>(data),
                  static_cast<unsigned>(dataLength));
  unsigned point = 0;
  if (!text.search('.', point)) {
    ZLOG(LogStream::PROBLEM) << "Product ID not found in notification message."
                             << std::endl;
    return;
  }
  TextString productId = text.substring(point + kIdOffset, kIdLength);
  ZLOG(LogStream::DEBUG) << "Product id = " << productId << std::endl;
  currentDecoder = decoderList().findDecoder(productId);
  if (currentDecoder == nullptr) {
    ZLOG(LogStream::PROBLEM) << "The following data was not decoded: " << text
                             << std::endl;
    ZLOG(LogStream::PROBLEM)
        << productId << " is not a valid Product ID for this decoder."
        << std::endl;
    return;
  }
  currentDecoder->decoder->processBufrDirectory();
}
