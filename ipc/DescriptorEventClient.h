#ifndef ZEPH_IPC_DESCRIPTOREVENTCLIENT_H_
#define ZEPH_IPC_DESCRIPTOREVENTCLIENT_H_

// Something the event loop calls back when its file descriptor is ready.
// A client leaves the dispatcher's sets when it is destroyed, which is
// legal inside its own handleEvent().
class DescriptorEventClient {
 public:
  enum Condition { READ = 1, WRITE = 2, EXCEPTION = 4 };

  DescriptorEventClient() = default;
  virtual ~DescriptorEventClient();
  DescriptorEventClient(const DescriptorEventClient&) = delete;
  DescriptorEventClient& operator=(const DescriptorEventClient&) = delete;

  virtual void handleEvent() = 0;
  // -1 for none: such a client isn't waited on.
  virtual int descriptor() = 0;
  // A mask of Condition bits.
  virtual int conditions() = 0;
  // 1 is served before 0 in each pass.
  virtual int priority() { return 0; }
};

#endif  // ZEPH_IPC_DESCRIPTOREVENTCLIENT_H_
