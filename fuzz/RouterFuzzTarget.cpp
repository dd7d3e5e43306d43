// The key matcher with any pattern against any key, the key finder over
// any product, and the comms receiver over any arguments of the messages
// that carry products. The first byte of the input says how many of the
// following bytes are the pattern; the rest is the key. A pattern that
// compiles is matched by the program and, while pattern and key are
// short, by a plain backtracking reading of the same dialect: the two
// must agree. The whole input is also a product whose key is sought, and
// the arguments of an LDM, a DS and a CD message, which nothing may read
// past. The process has no connection and no clients: nothing is sent.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "CommsMessages.h"
#include "CommsReceiver.h"
#include "LogStream.h"
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
  // Backtracking takes exponential time on patterns like (a?b+)+ that the
  // program runs in linear time; past a budget the answer doesn't count.
  bool gaveUp() const { return _steps > kBudget; }

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
    if (++_steps > kBudget) return false;
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

  static const long kBudget = 200000;
  long _steps = 0;
  const char* _p;
  std::string _key;
  std::vector<std::vector<Branch>> _groups;
  int _top;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("ZEPH_HOME", ZEPH_SOURCE_DIR "/site", 0);
  // Each product would be logged; only the faults of the bytes matter.
  LogStream& log = LogStream::instance();
  for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink)
    log.setFilter(nullptr, nullptr, LogStream::Sink(sink), 0xFFFFFFFF, false);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool initialized = (LLVMFuzzerInitialize(nullptr, nullptr), true);
  (void)initialized;
  std::string product(reinterpret_cast<const char*>(data), size);
  const char* key = findKey(product.c_str(), static_cast<int>(size));
  if (key != nullptr && std::strlen(key) > static_cast<size_t>(kLongestKey))
    std::abort();
  for (short type : {kLdmMsg, kDsMsg, kCommsDataMsg}) {
    std::vector<char> args(data, data + size);
    args.push_back('\0');  // a place to point at when there are no bytes
    CommsReceiver::instance().receive(type, IPC_Target(),
                                      static_cast<long>(size), args.data());
  }
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
  if (pattern.size() <= 16 && subject.size() <= 24) {
    Reference reference(pattern, subject);
    if (reference.matches() != found && !reference.gaveUp()) std::abort();
  }
  return 0;
}
