#ifndef ZEPH_INC_SEQOF_H_
#define ZEPH_INC_SEQOF_H_

#include "LogStream.h"
#include "RCObject.h"

// Shared representation of a sequence: `length` elements in use out of
// `capacity` allocated, each default-constructed or copied.
template <class T>
class SeqValue : public RCObject {
 public:
  SeqValue(int len, int cap, const T* source)
      : length(len), capacity(cap), data(cap > 0 ? new T[cap]() : nullptr) {
    for (int i = 0; i < len && source; ++i) data[i] = source[i];
  }
  ~SeqValue() override { delete[] data; }
  SeqValue(const SeqValue&) = delete;
  SeqValue& operator=(const SeqValue&) = delete;

  int length;
  int capacity;
  T* data;
};

// A copy-on-write growable array, passed and returned by value. A copy is
// O(1) until someone takes a reference into it with the non-const
// operator[], after which it is copied in full on every copy. A bad index
// never stops anything: it is logged and element 0 stands in.
template <class T>
class SeqOf {
 public:
  SeqOf() { hold(new SeqValue<T>(0, 0, nullptr)); }
  SeqOf(int count, const T* items) {
    if (count < 0) count = 0;
    hold(new SeqValue<T>(count, count, items));
  }
  SeqOf(const SeqOf& other) { adopt(other); }
  SeqOf& operator=(const SeqOf& other) {
    if (_value == other._value) return *this;
    SeqValue<T>* old = _value;
    adopt(other);
    old->removeReference();
    return *this;
  }
  virtual ~SeqOf() { _value->removeReference(); }

  int length() const { return _value->length; }
  int capacity() const { return _value->capacity; }
  bool sharesWith(const SeqOf& other) const { return _value == other._value; }

  void setLength(int n);

  T& operator[](int index) {
    makePrivate();
    _value->markUnshareable();
    if (!checkIndex(index)) return substitute();
    return _value->data[index];
  }
  const T& operator[](int index) const {
    if (!checkIndex(index)) return constSubstitute();
    return _value->data[index];
  }
  // The const operator[] by name: reads without making the sequence
  // private or unshareable, also through a non-const handle.
  const T& at(int index) const { return (*this)[index]; }

  void append(const T& item) {
    if (_value->referenceCount() <= 1 && _value->length < _value->capacity) {
      _value->data[_value->length++] = item;
      return;
    }
    T copy(item);  // `item` may live in the array about to move
    int n = _value->length;
    setLength(n + 1);
    _value->data[n] = copy;
  }

  void replaceBetween(int first, int last, const SeqOf<T>& with);

  // Exchanges the contents of two sequences; nothing is copied.
  void swap(SeqOf& other) {
    SeqValue<T>* mine = _value;
    _value = other._value;
    other._value = mine;
  }

  int findFirst(const T& what, int from = 0) const {
    if (from < 0 || from >= _value->length) return -1;
    for (int i = from; i < _value->length; ++i)
      if (_value->data[i] == what) return i;
    return -1;
  }

 private:
  void hold(SeqValue<T>* value) {
    _value = value;
    _value->addReference();
  }
  void adopt(const SeqOf& other) {
    SeqValue<T>* value = other._value;
    if (value->isShareable())
      hold(value);
    else
      hold(new SeqValue<T>(value->length, value->length, value->data));
  }
  void makePrivate() {
    if (_value->referenceCount() <= 1) return;
    SeqValue<T>* copy =
        new SeqValue<T>(_value->length, _value->length, _value->data);
    _value->removeReference();
    hold(copy);
  }
  bool checkIndex(int index) const {
    if (index >= 0 && index < _value->length) return true;
    ZLOG_AT(LogStream::BUG, "inc/SeqOf")
        << "index [" << index << "] out of range in SeqOf.checkIndex,"
        << " size=" << _value->length << std::endl;
    return false;
  }
  // Element 0 stands in for a bad index; an empty sequence has none, and
  // then a default value that nobody else sees takes its place.
  T& substitute() {
    if (_value->length > 0) return _value->data[0];
    static T nothing;
    nothing = T();
    return nothing;
  }
  const T& constSubstitute() const {
    if (_value->length > 0) return _value->data[0];
    static const T nothing = T();
    return nothing;
  }

  SeqValue<T>* _value;
};

template <class T>
void SeqOf<T>::setLength(int n) {
  makePrivate();
  if (n < 0) {
    ZLOG_AT(LogStream::BUG, "inc/SeqOf")
        << "negative argument to SeqOf.setLength" << std::endl;
    n = 0;
  }
  int cap = _value->capacity;
  int newCapacity;
  if (cap - 10 > n && cap * 0.9f > n) {
    newCapacity = n;  // give back an array that is mostly unused
  } else if (cap >= n) {
    _value->length = n;
    return;
  } else {
    newCapacity = n;
    if (cap + 10 > newCapacity) newCapacity = cap + 10;
    int byFactor = static_cast<int>(cap * 1.1f);
    if (byFactor > newCapacity) newCapacity = byFactor;
  }
  int kept = _value->length < newCapacity ? _value->length : newCapacity;
  SeqValue<T>* grown = new SeqValue<T>(kept, newCapacity, _value->data);
  grown->length = n;
  _value->removeReference();
  hold(grown);
}

template <class T>
void SeqOf<T>::replaceBetween(int first, int last, const SeqOf<T>& with) {
  if (first < -1 || last > _value->length || last <= first) {
    ZLOG_AT(LogStream::BUG, "inc/SeqOf")
        << "invalid range (" << first << ", " << last
        << ") in SeqOf.replaceBetween, size=" << _value->length << std::endl;
    return;
  }
  // A handle of our own keeps the new elements intact when `with` is this
  // very sequence: the writes below go to a private copy.
  SeqOf<T> source(with);
  int removed = last - first - 1;
  int added = source.length();
  int oldLength = _value->length;
  int tail = oldLength - last;
  if (added > removed) setLength(oldLength + added - removed);
  makePrivate();
  T* data = _value->data;
  if (added > removed) {
    for (int i = tail - 1; i >= 0; --i)
      data[first + 1 + added + i] = data[last + i];
  } else if (added < removed) {
    for (int i = 0; i < tail; ++i) data[first + 1 + added + i] = data[last + i];
  }
  for (int i = 0; i < added; ++i) data[first + 1 + i] = source._value->data[i];
  if (added < removed) setLength(oldLength + added - removed);
}

#endif  // ZEPH_INC_SEQOF_H_
