#ifndef ZEPH_INC_SET_H_
#define ZEPH_INC_SET_H_

#include "HashTable.h"
#include "LogStream.h"

// A chained hash set: the frame of Dict without values, rehashing at one
// entry per bucket. Its sorted view is sorted at the first access by an
// index above 0, so keyAt(0) alone gives the first key in internal order.
template <class K>
class Set {
 public:
  explicit Set(unsigned sizeHint = 50) : _chains(sizeHint) {}
  virtual ~Set() = default;

  bool lookup(const K& key) const { return _chains.find(key) != nullptr; }
  void insert(const K& key) {
    if (_chains.find(key) == nullptr) _chains.add(new Entry(key), 1);
  }
  void remove(const K& key) { _chains.erase(key); }
  void clear() { _chains.clear(); }
  int length() const { return _chains.length(); }

  const K& keyAt(int index) const {
    Entry* e = _chains.at(index, index > 0);
    if (e) return e->key;
    ZLOG_AT(LogStream::BUG, "inc/Set")
        << "invalid index in Dict<K,V>::validIndex()" << std::endl;
    static const K nothing = K();
    return nothing;
  }

  void setSorted(bool sorted) { _chains.setSorted(sorted); }
  bool sorted() const { return _chains.sorted(); }
  unsigned bucketCount() const { return _chains.bucketCount(); }

 private:
  struct Entry {
    explicit Entry(const K& k) : key(k), next(nullptr) {}
    K key;
    Entry* next;
  };

  HashChains<K, Entry> _chains;
};

#endif  // ZEPH_INC_SET_H_
