#ifndef ZEPH_IPC_DISPATCHER_H_
#define ZEPH_IPC_DISPATCHER_H_

class Receiver;

// Hands each whole message to the receiver of its module.
class Dispatcher {
 public:
  static void registerReceiver(int module, Receiver* receiver);

  // Takes `buffer` (made by new char[], `size` bytes, a whole message as
  // its length word frames it) and frees it at the end. Answers false for
  // a message that was dropped: one that doesn't hold its own header, or
  // one for a module nobody receives. Either is logged; the stream it came
  // from stays usable, since its framing held.
  static bool doDispatch(char* buffer, unsigned long size);
};

#endif  // ZEPH_IPC_DISPATCHER_H_
