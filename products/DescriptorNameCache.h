#ifndef ZEPH_PRODUCTS_DESCRIPTORNAMECACHE_H_
#define ZEPH_PRODUCTS_DESCRIPTORNAMECACHE_H_

#include <vector>

#include "Dict.h"
#include "TextString.h"

// Descriptor to netCDF variable name, for the life of the process, in
// front of the dictionary lookup that a product makes for every value it
// stores. An entry is filled at the descriptor's first successful lookup
// and never changes: the first dictionary to name a descriptor names it
// for every decoder that shares the cache (the four models share one).
class DescriptorNameCache {
 public:
  static constexpr int TBL_B_DICT_CACHE_SIZE = 36000;

  DescriptorNameCache();
  DescriptorNameCache(const DescriptorNameCache&) = delete;
  DescriptorNameCache& operator=(const DescriptorNameCache&) = delete;

  // 1 with `name` set; 0 where `dict` names no variable of the
  // descriptor; -1, logged, for a descriptor beyond the cache, whose file
  // goes no further.
  int lookUp(int descriptor, const Dict<TextString, TextString>& dict,
             TextString& name);
  void clear();

 private:
  struct Entry {
    bool filled = false;
    TextString name;
  };
  std::vector<Entry> _entries;
};

#endif  // ZEPH_PRODUCTS_DESCRIPTORNAMECACHE_H_
