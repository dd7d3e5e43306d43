#ifndef ZEPH_IPC_RECEIVER_H_
#define ZEPH_IPC_RECEIVER_H_

#include "IPC_Target.h"

// The receiver of one module's messages, registered with the Dispatcher
// under the module number at process set-up.
class Receiver {
 public:
  virtual ~Receiver() = default;
  // `args` holds the `argLength` bytes of the arguments, to be read with
  // quantize in declared order and never past args + argLength. The buffer
  // is freed when this returns.
  virtual void receive(const short& type, const IPC_Target& sender,
                       long argLength, char* args) = 0;
};

#endif  // ZEPH_IPC_RECEIVER_H_
