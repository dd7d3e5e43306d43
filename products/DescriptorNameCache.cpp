#include "DescriptorNameCache.h"

#include "BufrDecoder.h"
#include "LogStream.h"

DescriptorNameCache::DescriptorNameCache() : _entries(TBL_B_DICT_CACHE_SIZE) {}

int DescriptorNameCache::lookUp(int descriptor,
                                const Dict<TextString, TextString>& dict,
                                TextString& name) {
  bool inside = descriptor >= 0 && descriptor < TBL_B_DICT_CACHE_SIZE;
  if (inside && _entries[descriptor].filled) {
    name = _entries[descriptor].name;
    return 1;
  }
  if (!BufrDecoder::ncVarNameForDescriptor(descriptor, name, dict)) return 0;
  if (!inside) {
    ZLOG(LogStream::PROBLEM)
        << "dvDescriptor(" << descriptor
        << ") >= TBL_B_DICT_CACHE_SIZE, next file!" << std::endl;
    return -1;
  }
  _entries[descriptor].filled = true;
  _entries[descriptor].name = name;
  return 1;
}

void DescriptorNameCache::clear() {
  for (Entry& entry : _entries) entry = Entry();
}
