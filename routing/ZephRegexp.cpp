#include "ZephRegexp.h"

#include "LogStream.h"

ZephRegexp* zephRegcomp(const char* pattern) {
  ZephRegexp* expression = compileRegexp(pattern);
  if (expression == nullptr) {
    ZLOG(LogStream::BUG) << "zephRegcomp failure in "
                         << (pattern ? pattern : "NULL") << std::endl;
  }
  return expression;
}

bool comparePattern(const ZephRegexp* expression, const char* key) {
  if (key == nullptr) return false;
  return executeRegexp(expression, key);
}
