#ifndef ZEPH_ROUTING_DATACAPTRECEIVER_H_
#define ZEPH_ROUTING_DATACAPTRECEIVER_H_

#include "Receiver.h"
#include "TextString.h"

// What a data client does with each product: the tag that travelled with
// it, its length and its bytes, which are freed when the call returns.
using DataCallback = void (*)(long tag, long dataLength, unsigned char* data);

// The controller's half of module 1, given to the receiver by a process
// that routes data to clients. A client process has none.
class DataCaptController {
 public:
  virtual ~DataCaptController() = default;
  virtual void ready(const IPC_Target& client) = 0;
  virtual void registerClient(const IPC_Target& client,
                              const TextString& pattern) = 0;
  virtual TextString compositePattern() = 0;
  virtual void requestCommsData(const TextString& composite) = 0;
};

// The receiver of module 1, made and registered at its first use. For a
// client it hands each product to the data callback and answers it with
// a ready once the product is wholly processed: that ready is the only
// flow control between a controller and its client. For a controller it
// passes readies and data requests on.
class DataCaptReceiver : public Receiver {
 public:
  static const int kModule = 1;
  enum Type { READY = 0, DATA_REQUEST = 1, PRODUCT = 2 };

  static DataCaptReceiver& instance();

  void receive(const short& type, const IPC_Target& sender, long argLength,
               char* args) override;

  void setCallback(DataCallback callback) { _callback = callback; }
  void setController(DataCaptController* controller) {
    _controller = controller;
  }

 private:
  DataCaptReceiver() = default;

  void receiveProduct(const IPC_Target& sender, long argLength, char* args);
  void receiveRequest(const IPC_Target& sender, long argLength, char* args);

  DataCallback _callback = nullptr;
  DataCaptController* _controller = nullptr;
};

#endif  // ZEPH_ROUTING_DATACAPTRECEIVER_H_
