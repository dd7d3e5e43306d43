#ifndef ZEPH_INC_RCOBJECT_H_
#define ZEPH_INC_RCOBJECT_H_

// Base of the shared representations behind the value types (TextString,
// SeqOf). The count is a plain int: a value used from two threads needs a
// private copy each.
class RCObject {
 public:
  void addReference() { ++_refCount; }
  // Deletes the object when the last handle lets go.
  void removeReference() {
    if (--_refCount == 0) delete this;
  }
  // Called once a handle has given out a pointer into the object, after
  // which sharing it would let writes leak into other values.
  void markUnshareable() { _shareable = false; }
  bool isShareable() const { return _shareable; }
  bool isShared() const { return _refCount > 1; }
  int referenceCount() const { return _refCount; }

 protected:
  RCObject() : _refCount(0), _shareable(true) {}
  // A copied representation starts with no handles of its own.
  RCObject(const RCObject&) : _refCount(0), _shareable(true) {}
  RCObject& operator=(const RCObject&) { return *this; }
  virtual ~RCObject() {}

 private:
  int _refCount;
  bool _shareable;
};

#endif  // ZEPH_INC_RCOBJECT_H_
