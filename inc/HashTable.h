#ifndef ZEPH_INC_HASHTABLE_H_
#define ZEPH_INC_HASHTABLE_H_

#include <algorithm>

#include "TextString.h"

// The bucket count for a wanted size: the even number at or below it, plus
// three, then up by two to the next prime. A new table asks for 50 and gets
// 53.
unsigned hashBucketCount(unsigned wanted);
bool isHashPrime(unsigned n);

// Integer keys hash to themselves; other key types bring an overload of
// their own.
inline unsigned long hashKey(int key) { return static_cast<unsigned>(key); }
inline unsigned long hashKey(unsigned key) { return key; }
inline unsigned long hashKey(long key) {
  return static_cast<unsigned long>(key);
}
inline unsigned long hashKey(unsigned long key) { return key; }
inline unsigned long hashKey(const TextString& key) { return key.hash(); }
// Pointers hash to their address: a heap cell is a key by identity.
template <class T>
inline unsigned long hashKey(T* key) {
  return reinterpret_cast<unsigned long>(key);
}

// The chained table behind Dict and Set: buckets of singly linked entries
// and a view by index, built on demand and optionally sorted by key. Each
// entry type has `key` and `next`.
template <class K, class Entry>
class HashChains {
 public:
  explicit HashChains(unsigned sizeHint) { allocate(hashBucketCount(sizeHint)); }
  HashChains(const HashChains& other) {
    allocate(other._bucketCount);
    copyEntries(other);
  }
  HashChains& operator=(const HashChains& other) {
    if (this == &other) return *this;
    clear();
    delete[] _buckets;
    allocate(other._bucketCount);
    copyEntries(other);
    return *this;
  }
  ~HashChains() {
    clear();
    delete[] _buckets;
  }

  Entry* find(const K& key) const {
    ++_lookups;
    for (Entry* e = _buckets[hashKey(key) % _bucketCount]; e; e = e->next) {
      ++_probes;
      if (e->key == key) return e;
    }
    return nullptr;
  }
  // Puts a new entry at the head of its chain; grows the table once it
  // holds `loadFactor` entries per bucket.
  void add(Entry* entry, int loadFactor) {
    Entry*& head = _buckets[hashKey(entry->key) % _bucketCount];
    entry->next = head;
    head = entry;
    ++_entryCount;
    dropIndex();
    if (_entryCount >= loadFactor * static_cast<long>(_bucketCount))
      rehash(hashBucketCount(2 * _bucketCount));
  }
  bool erase(const K& key) {
    for (Entry** link = &_buckets[hashKey(key) % _bucketCount]; *link;
         link = &(*link)->next) {
      if ((*link)->key == key) {
        Entry* gone = *link;
        *link = gone->next;
        delete gone;
        --_entryCount;
        dropIndex();
        return true;
      }
    }
    return false;
  }
  void clear() {
    for (unsigned b = 0; b < _bucketCount; ++b) {
      while (Entry* e = _buckets[b]) {
        _buckets[b] = e->next;
        delete e;
      }
    }
    _entryCount = 0;
    dropIndex();
  }

  // The entry at a place of the indexed view; null for a bad index.
  Entry* at(int index, bool sortNow) const {
    if (index < 0 || index >= _entryCount) return nullptr;
    if (_index == nullptr) buildIndex();
    if (sortNow && _sorted && !_indexSorted) {
      std::sort(_index, _index + _entryCount,
                [](const Entry* a, const Entry* b) { return a->key < b->key; });
      _indexSorted = true;
    }
    return _index[index];
  }

  void setSorted(bool sorted) {
    _sorted = sorted;
    dropIndex();
  }
  bool sorted() const { return _sorted; }
  int length() const { return _entryCount; }
  unsigned bucketCount() const { return _bucketCount; }
  int lookups() const { return _lookups; }
  int probes() const { return _probes; }

 private:
  void allocate(unsigned count) {
    _bucketCount = count;
    _buckets = new Entry*[count]();
    _entryCount = 0;
    _sorted = false;
    _indexSorted = false;
    _index = nullptr;
    _lookups = 0;
    _probes = 0;
  }
  void copyEntries(const HashChains& other) {
    _sorted = other._sorted;
    for (unsigned b = 0; b < _bucketCount; ++b) {
      Entry** tail = &_buckets[b];
      for (Entry* e = other._buckets[b]; e; e = e->next) {
        *tail = new Entry(*e);
        tail = &(*tail)->next;
      }
      *tail = nullptr;
    }
    _entryCount = other._entryCount;
  }
  // Moves the entries, highest bucket first, each to the head of its new
  // chain; no entry is copied.
  void rehash(unsigned count) {
    Entry** old = _buckets;
    unsigned oldCount = _bucketCount;
    _buckets = new Entry*[count]();
    _bucketCount = count;
    for (unsigned b = oldCount; b-- > 0;) {
      while (Entry* e = old[b]) {
        old[b] = e->next;
        Entry*& head = _buckets[hashKey(e->key) % count];
        e->next = head;
        head = e;
      }
    }
    delete[] old;
    dropIndex();
  }
  void buildIndex() const {
    _index = new Entry*[_entryCount];
    int n = 0;
    for (unsigned b = _bucketCount; b-- > 0;)
      for (Entry* e = _buckets[b]; e; e = e->next) _index[n++] = e;
    _indexSorted = false;
  }
  void dropIndex() const {
    delete[] _index;
    _index = nullptr;
    _indexSorted = false;
  }

  Entry** _buckets;
  unsigned _bucketCount;
  int _entryCount;
  bool _sorted;
  mutable bool _indexSorted;
  mutable Entry** _index;
  mutable int _lookups;
  mutable int _probes;
};

#endif  // ZEPH_INC_HASHTABLE_H_
