#ifndef ZEPH_INC_SEQOFPTR_H_
#define ZEPH_INC_SEQOFPTR_H_

#include "SeqOf.h"

template <class P>
class SeqOfPtr;

// A typed sequence of pointers over one SeqOf<void*>, so that every pointer
// type shares one instantiation. It owns no pointee: its destructor lets go
// of the sequence alone.
template <class T>
class SeqOfPtr<T*> {
 public:
  SeqOfPtr() = default;
  virtual ~SeqOfPtr() = default;

  int length() const { return _seq.length(); }
  void setLength(int n) { _seq.setLength(n); }
  T* operator[](int index) const { return static_cast<T*>(_seq[index]); }
  void put(int index, T* item) { _seq[index] = item; }
  void append(T* item) { _seq.append(item); }
  void replaceBetween(int first, int last, const SeqOfPtr<T*>& with) {
    _seq.replaceBetween(first, last, with._seq);
  }
  int findFirst(T* what, int from = 0) const {
    return _seq.findFirst(what, from);
  }

 private:
  SeqOf<void*> _seq;
};

#endif  // ZEPH_INC_SEQOFPTR_H_
