#ifndef ZEPH_INC_DICT_H_
#define ZEPH_INC_DICT_H_

#include "HashTable.h"
#include "LogStream.h"

// A chained hash table from keys to values, with prime bucket counts and a
// view by index that may be sorted by key. It rehashes at four entries per
// bucket. An index outside the view is logged and answered with a default.
template <class K, class V>
class Dict {
 public:
  explicit Dict(unsigned sizeHint = 50) : _chains(sizeHint) {}
  virtual ~Dict() = default;

  // Copies the value out when `value` isn't null.
  bool lookup(const K& key, V* value = nullptr) const {
    Entry* e = _chains.find(key);
    if (e == nullptr) return false;
    if (value) *value = e->value;
    return true;
  }
  // Replaces the value of a key that is there, else adds the pair.
  void insert(const K& key, const V& value) {
    if (Entry* e = _chains.find(key)) {
      e->value = value;
      return;
    }
    _chains.add(new Entry(key, value), 4);
  }
  void remove(const K& key) { _chains.erase(key); }
  void clear() { _chains.clear(); }
  int length() const { return _chains.length(); }

  const K& keyAt(int index) const {
    Entry* e = _chains.at(index, true);
    if (e) return e->key;
    invalidIndex();
    static const K nothing = K();
    return nothing;
  }
  const V& valueAt(int index) const {
    Entry* e = _chains.at(index, true);
    if (e) return e->value;
    invalidIndex();
    static const V nothing = V();
    return nothing;
  }

  void setSorted(bool sorted) { _chains.setSorted(sorted); }
  bool sorted() const { return _chains.sorted(); }
  unsigned bucketCount() const { return _chains.bucketCount(); }
  int lookups() const { return _chains.lookups(); }
  int probes() const { return _chains.probes(); }

 private:
  struct Entry {
    Entry(const K& k, const V& v) : key(k), value(v), next(nullptr) {}
    K key;
    V value;
    Entry* next;
  };
  void invalidIndex() const {
    ZLOG_AT(LogStream::BUG, "inc/Dict")
        << "invalid index in Dict<K,V>::validIndex()" << std::endl;
  }

  HashChains<K, Entry> _chains;
};

#endif  // ZEPH_INC_DICT_H_
