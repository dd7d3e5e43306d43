#ifndef ZEPH_INC_QUEUEIMPL_H_
#define ZEPH_INC_QUEUEIMPL_H_

#include "Dict.h"
#include "LogStream.h"

// A first-in first-out queue kept as a Dict from a running position to the
// item. Head and tail wrap at the width of unsigned long.
template <class T>
class QueueImpl {
 public:
  QueueImpl() : _head(0), _tail(0) {}

  bool enqueue(const T& item) {
    if (_tail + 1 == _head) {
      ZLOG_AT(LogStream::BUG, "inc/QueueImpl")
          << "Queue would overflow.  Item not added." << std::endl;
      return false;
    }
    _items.insert(_tail, item);
    ++_tail;
    return true;
  }
  bool peek(T& item) const {
    if (_head == _tail) {
      ZLOG_AT(LogStream::BUG, "inc/QueueImpl")
          << "Attempt to remove from or peek at an empty queue." << std::endl;
      return false;
    }
    if (!_items.lookup(_head, &item)) {
      ZLOG_AT(LogStream::BUG, "inc/QueueImpl")
          << "Failure to extract item from representation." << _head
          << std::endl;
      return false;
    }
    return true;
  }
  bool dequeue(T& item) {
    if (!peek(item)) return false;
    _items.remove(_head);
    ++_head;
    return true;
  }
  bool isEmpty() const { return _head == _tail; }
  unsigned long length() const { return _tail - _head; }

 private:
  friend class QueueImplTestPeer;  // sets the counters near their wrap
  unsigned long _head;
  unsigned long _tail;
  Dict<unsigned long, T> _items;
};

#endif  // ZEPH_INC_QUEUEIMPL_H_
