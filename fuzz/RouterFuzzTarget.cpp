// The key matcher with any pattern against any key, and the key finder
// over any product. The first byte of the input says how many of the
// following bytes are the pattern; the rest is the key. A pattern that
// compiles is matched by the program and, while pattern and key are
// short, by a plain backtracking reading of the same dialect: the two
// must agree. The whole input is also a product whose key is sought.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "ProductKey.h"
#include "RegexpProgram.h"

namespace {

// The dialect read straight from the text of a pattern that compiled.
class Reference {
 public:
  Reference(const std::string& pattern, const std::string& key)
      : _p(pattern.c_str()), _key(key) {
    _top = alternation();
  }

  bool matches() {
    for (size_t start = 0; start <= _key.size(); ++start)
      if (matchGroup(_top, start, [](size_t) { return true; })) return true;
    return false;
  }

 private:
  using Next = std::function<bool(size_t)>;
  struct Piece {
    char kind;  // c(har) . ^ $ [ (
    unsigned char c = 0;
    std::vector<bool> set;
    int group = -1;
    char sign = 0;
  };
  using Branch = std::vector<Piece>;

  int alternation() {
    std::vector<Branch> branches(1);
    while (*_p && *_p != ')') {
      if (*_p == '|') {
        ++_p;
        branches.emplace_back();
        continue;
      }
      branches.back().push_back(atom());
      if (*_p == '*' || *_p == '+' || *_p == '?') branches.back().back().sign = *_p++;
    }
    _groups.push_back(branches);
    return static_cast<int>(_groups.size()) - 1;
  }

  Piece atom() {
    Piece piece;
    char c = *_p++;
    piece.kind = c;
    if (c == '(') {
      piece.group = alternation();
      ++_p;
    } else if (c == '[') {
      bool negated = *_p == '^';
      if (negated) ++_p;
      piece.set.assign(256, negated);
      for (bool first = true; *_p != ']' || first; first = false) {
        int low = static_cast<unsigned char>(*_p++), high = low;
        if (_p[0] == '-' && _p[1] != ']') {
          high = static_cast<unsigned char>(_p[1]);
          _p += 2;
        }
        for (int m = low; m <= high; ++m) piece.set[m] = !negated;
      }
      ++_p;
    } else if (c != '.' && c != '^' && c != '$') {
      piece.kind = 'c';
      piece.c = static_cast<unsigned char>(c == '\\' ? *_p++ : c);
    }
    return piece;
  }

  bool matchGroup(int group, size_t pos, const Next& next) {
    for (const Branch& branch : _groups[group])
      if (matchBranch(branch, 0, pos, next)) return true;
    return false;
  }

  bool matchBranch(const Branch& branch, size_t i, size_t pos,
                   const Next& next) {
    if (i == branch.size()) return next(pos);
    return matchPiece(branch[i], pos, [&](size_t p) {
      return matchBranch(branch, i + 1, p, next);
    });
  }

  // Every operand of * and + takes a character, so repetition ends.
  bool matchPiece(const Piece& piece, size_t pos, const Next& next) {
    Next more = [&](size_t p) {
      return matchAtom(piece, p, [&](size_t q) { return q > p && more(q); }) ||
             next(p);
    };
    switch (piece.sign) {
      case '?':
        return matchAtom(piece, pos, next) || next(pos);
      case '*':
        return more(pos);
      case '+':
        return matchAtom(piece, pos, more);
      default:
        return matchAtom(piece, pos, next);
    }
  }

  bool matchAtom(const Piece& piece, size_t pos, const Next& next) {
    bool atEnd = pos >= _key.size();
    unsigned char c = atEnd ? 0 : static_cast<unsigned char>(_key[pos]);
    switch (piece.kind) {
      case '^':
        return pos == 0 && next(pos);
      case '$':
        return atEnd && next(pos);
      case '(':
        return matchGroup(piece.group, pos, next);
      case '.':
        return !atEnd && next(pos + 1);
      case '[':
        return !atEnd && piece.set[c] && next(pos + 1);
      default:
        return !atEnd && c == piece.c && next(pos + 1);
    }
  }

  const char* _p;
  std::string _key;
  std::vector<std::vector<Branch>> _groups;
  int _top;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("ZEPH_HOME", ZEPH_SOURCE_DIR "/site", 0);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool initialized = (LLVMFuzzerInitialize(nullptr, nullptr), true);
  (void)initialized;
  std::string product(reinterpret_cast<const char*>(data), size);
  const char* key = findKey(product.c_str(), static_cast<int>(size));
  if (key != nullptr && std::strlen(key) > static_cast<size_t>(kLongestKey))
    std::abort();
  if (size == 0) return 0;
  size_t split = 1 + data[0] % size;
  std::string pattern(reinterpret_cast<const char*>(data + 1), split - 1);
  std::string subject(reinterpret_cast<const char*>(data + split),
                      size - split);
  pattern.resize(std::strlen(pattern.c_str()));
  subject.resize(std::strlen(subject.c_str()));
  ZephRegexp* expression = compileRegexp(pattern.c_str());
  if (expression == nullptr) return 0;
  bool found = executeRegexp(expression, subject.c_str());
  std::free(expression);
  if (pattern.size() <= 16 && subject.size() <= 24 &&
      Reference(pattern, subject).matches() != found)
    std::abort();
  return 0;
}
