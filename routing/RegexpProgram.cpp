#include "RegexpProgram.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// The block: a header, the instructions, the character sets, and the
// string that every match holds, with its terminator.
//
//   0  magic 156          4  instruction count (16 bits)
//   1  flags              6  set count (16 bits)
//   2  first character    8  length of the string every match holds
//
// An instruction is four bytes: the operation, a character, a 16-bit
// operand. Jumps count from their own instruction, so that code moved as a
// whole (an atom that gets a repetition sign) keeps its jumps.
namespace {

const unsigned char kMagic = 156;
const long kTooBig = 32767;
const int kMostGroups = 23;
const int kHeaderSize = 12;
const int kInstructionSize = 4;
const int kSetSize = 32;

enum Flag : unsigned char { kAnchored = 1, kHasFirst = 2 };

enum Op : unsigned char {
  MATCH = 1,
  CHAR,   // the character
  ANY,    // any character
  SET,    // a character of the set numbered by the operand
  BOL,    // nothing, at the start
  EOL,    // nothing, at the end
  JMP,    // goes to itself + operand
  SPLIT,  // goes on to the next and to itself + operand
};

void report(const char* text) { std::fprintf(stderr, "regexp(3): %s", text); }

bool isRepetition(char c) { return c == '*' || c == '+' || c == '?'; }

void putWord(unsigned char* at, int value) {
  at[0] = static_cast<unsigned char>(value & 0xFF);
  at[1] = static_cast<unsigned char>((value >> 8) & 0xFF);
}

int wordAt(const unsigned char* at) {
  return static_cast<int16_t>(static_cast<uint16_t>(at[0] | (at[1] << 8)));
}

// What a piece was, for the shortcuts of a one-branch expression.
struct Piece {
  enum Kind { kLiteral, kStart, kOther } kind = kOther;
  unsigned char literal = 0;
  char sign = 0;  // its repetition sign, or 0
  bool hasWidth = true;  // can't match the empty text
};

// Parses a pattern by recursive descent and emits its program. A first
// pass without a block only measures and finds the errors; the second
// writes into the block that the first one sized.
class Compiler {
 public:
  Compiler(const char* pattern, unsigned char* block, int instructions)
      : _p(pattern),
        _code(block ? block + kHeaderSize : nullptr),
        _sets(block ? block + kHeaderSize + instructions * kInstructionSize
                    : nullptr) {}

  // False after the error was reported.
  bool compile() {
    bool width;
    if (!alternation(false, &width)) return false;
    if (*_p == ')') return fail("unmatched ()");
    if (*_p != '\0') return fail("junk on end");
    emit(MATCH);
    return true;
  }

  int instructions() const { return _count; }
  int sets() const { return _setCount; }
  bool anchored() const { return _anchored; }
  bool hasFirst() const { return _hasFirst; }
  unsigned char first() const { return _first; }
  const std::string& must() const { return _must; }

 private:
  bool fail(const char* text) {
    report(text);
    return false;
  }

  bool alternation(bool inGroup, bool* hasWidth);
  bool branch(bool topLevel, bool* hasWidth);
  bool piece(Piece* out);
  bool atom(Piece* out);
  bool list();
  void noteTopLevel(const Piece& piece, bool isFirst, std::string& run);

  void emit(Op op, unsigned char c = 0, int operand = 0) {
    if (_code) write(_count, op, c, operand);
    ++_count;
  }
  void insert(int at, Op op, int operand) {
    if (_code) {
      std::memmove(_code + (at + 1) * kInstructionSize,
                   _code + at * kInstructionSize,
                   static_cast<size_t>(_count - at) * kInstructionSize);
      write(at, op, 0, operand);
    }
    ++_count;
  }
  void write(int at, Op op, unsigned char c, int operand) {
    unsigned char* instruction = _code + at * kInstructionSize;
    instruction[0] = op;
    instruction[1] = c;
    putWord(instruction + 2, operand);
  }

  const char* _p;
  unsigned char* _code;
  unsigned char* _sets;
  int _count = 0;
  int _setCount = 0;
  int _groups = 0;
  bool _anchored = false;
  bool _hasFirst = false;
  unsigned char _first = 0;
  std::string _must;
};

// Each branch but the last gets a split in front of it to the next branch
// and a jump behind it to the end. The jumps wait for the end chained
// through their operands; nothing is inserted in front of them meanwhile,
// since insertions happen only inside later branches.
bool Compiler::alternation(bool inGroup, bool* hasWidth) {
  *hasWidth = true;
  int pending = -1;
  for (bool firstBranch = true;; firstBranch = false) {
    int start = _count;
    bool width;
    if (!branch(!inGroup && firstBranch, &width)) return false;
    if (!width) *hasWidth = false;
    if (*_p != '|') break;
    ++_p;
    if (!inGroup) {  // the shortcuts hold for one branch only
      _anchored = _hasFirst = false;
      _must.clear();
    }
    int end = _count;
    insert(start, SPLIT, end + 2 - start);
    emit(JMP, 0, pending);
    pending = end + 1;
  }
  while (_code && pending >= 0) {
    unsigned char* operand = _code + pending * kInstructionSize + 2;
    int next = wordAt(operand);
    putWord(operand, _count - pending);
    pending = next;
  }
  return true;
}

// A branch has width when any of its pieces has.
bool Compiler::branch(bool topLevel, bool* hasWidth) {
  *hasWidth = false;
  std::string run;
  for (bool isFirst = true; *_p != '\0' && *_p != '|' && *_p != ')';
       isFirst = false) {
    Piece p;
    if (!piece(&p)) return false;
    if (p.hasWidth) *hasWidth = true;
    if (topLevel) noteTopLevel(p, isFirst, run);
  }
  if (topLevel && run.size() > _must.size()) _must = run;
  return true;
}

// The shortcuts: a branch that starts with "^" is tried at the start only;
// one that starts with a character that must be there, only where that
// character is; and the longest run of characters that every match holds
// must be in the key.
void Compiler::noteTopLevel(const Piece& p, bool isFirst, std::string& run) {
  bool required = p.kind == Piece::kLiteral && (p.sign == 0 || p.sign == '+');
  if (isFirst) {
    _anchored = p.kind == Piece::kStart && p.sign == 0;
    _hasFirst = required;
    _first = p.literal;
  }
  if (required) run += static_cast<char>(p.literal);
  if (required && p.sign == 0) return;
  if (run.size() > _must.size()) _must = run;
  run.clear();
}

bool Compiler::piece(Piece* out) {
  int start = _count;
  if (!atom(out)) return false;
  char sign = *_p;
  if (!isRepetition(sign)) return true;
  if (!out->hasWidth && sign != '?') return fail("*+ operand could be empty");
  ++_p;
  if (isRepetition(*_p)) return fail("nested *?+");
  out->sign = sign;
  if (sign == '*') {
    insert(start, SPLIT, _count + 2 - start);
    emit(JMP, 0, start - _count);
    out->hasWidth = false;
  } else if (sign == '+') {
    emit(SPLIT, 0, start - _count);
  } else {
    insert(start, SPLIT, _count + 1 - start);
    out->hasWidth = false;
  }
  return true;
}

bool Compiler::atom(Piece* out) {
  char c = *_p++;
  switch (c) {
    case '^':
      emit(BOL);
      out->kind = Piece::kStart;
      out->hasWidth = false;
      return true;
    case '$':
      emit(EOL);
      out->hasWidth = false;
      return true;
    case '.':
      emit(ANY);
      return true;
    case '[':
      return list();
    case '(': {
      if (_groups >= kMostGroups) return fail("too many ()");
      ++_groups;
      if (!alternation(true, &out->hasWidth)) return false;
      if (*_p != ')') return fail("unmatched ()");
      ++_p;
      return true;
    }
    case '\0':
    case '|':
    case ')':
      return fail("internal urp");  // a branch stops in front of these
    case '?':
    case '+':
    case '*':
      return fail("?+* follows nothing");
    case '\\':
      if (*_p == '\0') return fail("trailing \\");
      c = *_p++;
      break;
    default:
      break;
  }
  emit(CHAR, static_cast<unsigned char>(c));
  out->kind = Piece::kLiteral;
  out->literal = static_cast<unsigned char>(c);
  return true;
}

// Behind the "[". A "]" that comes first is a member; a "-" makes a range
// only between two characters, so one that comes first or last is a member.
bool Compiler::list() {
  bool negated = *_p == '^';
  if (negated) ++_p;
  unsigned char members[kSetSize] = {0};
  for (bool firstItem = true; *_p != '\0' && (*_p != ']' || firstItem);
       firstItem = false) {
    int low = static_cast<unsigned char>(*_p++);
    int high = low;
    if (_p[0] == '-' && _p[1] != ']' && _p[1] != '\0') {
      high = static_cast<unsigned char>(_p[1]);
      if (high < low) return fail("invalid [] range");
      _p += 2;
    }
    for (int m = low; m <= high; ++m) members[m >> 3] |= 1 << (m & 7);
  }
  if (*_p != ']') return fail("unmatched []");
  ++_p;
  if (negated)
    for (unsigned char& byte : members) byte = ~byte;
  members[0] &= ~1;  // the terminator is no character of a key
  if (_sets) std::memcpy(_sets + _setCount * kSetSize, members, kSetSize);
  emit(SET, 0, _setCount++);
  return true;
}

// The lists of the machine, kept between calls: a router matches every
// product against every client, and nothing needs to be made for that.
struct Workspace {
  std::vector<uint16_t> current, next, stack;
  std::vector<uint32_t> marks;
  uint32_t generation = 0;

  void fit(int instructions) {
    size_t n = static_cast<size_t>(instructions);
    if (current.size() >= n) return;
    current.resize(n);
    next.resize(n);
    stack.resize(2 * n + 2);
    marks.assign(n, 0);
    generation = 0;
  }
  // A fresh generation of marks: an empty list.
  uint32_t fresh() {
    if (++generation == 0) {
      std::fill(marks.begin(), marks.end(), 0);
      generation = 1;
    }
    return generation;
  }
};

thread_local Workspace workspace;

// Follows all ways through the program at once: the list of instructions
// that wait for the next character holds each at most once.
class Machine {
 public:
  Machine(const unsigned char* block, const char* subject)
      : _subject(subject),
        _flags(block[1]),
        _first(block[2]),
        _count(wordAt(block + 4) & 0xFFFF),
        _setCount(wordAt(block + 6) & 0xFFFF),
        _mustLength(wordAt(block + 8) & 0xFFFF),
        _code(block + kHeaderSize),
        _sets(_code + _count * kInstructionSize),
        _must(reinterpret_cast<const char*>(_sets + _setCount * kSetSize)) {}

  bool run();

 private:
  enum Outcome { kGoOn, kMatched, kBroken };

  Outcome add(std::vector<uint16_t>& list, int& length, int pc, long pos);
  bool takes(int pc, unsigned char c) const;

  const char* _subject;
  unsigned char _flags;
  unsigned char _first;
  int _count;
  int _setCount;
  int _mustLength;
  const unsigned char* _code;
  const unsigned char* _sets;
  const char* _must;
};

bool Machine::run() {
  if (_count == 0) {
    report("corrupted program");
    return false;
  }
  if (_mustLength > 0 && std::strstr(_subject, _must) == nullptr) return false;
  bool anchored = _flags & kAnchored;
  bool hasFirst = (_flags & kHasFirst) && !anchored;
  Workspace& w = workspace;
  w.fit(_count);
  int length = 0;
  for (long pos = 0;; ++pos) {
    if (length == 0) {
      if (anchored && pos > 0) return false;
      if (hasFirst) {
        const char* at = std::strchr(_subject + pos, _first);
        if (at == nullptr) return false;
        pos = at - _subject;
      }
      w.fresh();
    }
    unsigned char c = static_cast<unsigned char>(_subject[pos]);
    if ((pos == 0 || !anchored) && (!hasFirst || c == _first)) {
      Outcome o = add(w.current, length, 0, pos);
      if (o != kGoOn) return o == kMatched;
    }
    if (c == 0) return false;
    w.fresh();
    int nextLength = 0;
    for (int i = 0; i < length; ++i) {
      int pc = w.current[i];
      if (!takes(pc, c)) continue;
      Outcome o = add(w.next, nextLength, pc + 1, pos + 1);
      if (o != kGoOn) return o == kMatched;
    }
    w.current.swap(w.next);
    length = nextLength;
  }
}

// Puts `pc` and what follows from it without a character into `list`,
// each instruction once a generation.
Machine::Outcome Machine::add(std::vector<uint16_t>& list, int& length,
                              int pc, long pos) {
  Workspace& w = workspace;
  int depth = 0;
  w.stack[depth++] = static_cast<uint16_t>(pc);
  while (depth > 0) {
    pc = w.stack[--depth];
    if (pc < 0 || pc >= _count) {
      report("corrupted pointers");
      return kBroken;
    }
    if (w.marks[pc] == w.generation) continue;
    w.marks[pc] = w.generation;
    const unsigned char* instruction = _code + pc * kInstructionSize;
    int target = pc + wordAt(instruction + 2);
    if (depth + 2 > static_cast<int>(w.stack.size())) {
      report("internal foulup");
      return kBroken;
    }
    switch (instruction[0]) {
      case MATCH:
        return kMatched;
      case CHAR:
      case ANY:
      case SET:
        if (length >= _count) {
          report("internal foulup");
          return kBroken;
        }
        list[length++] = static_cast<uint16_t>(pc);
        break;
      case BOL:
        if (pos == 0) w.stack[depth++] = static_cast<uint16_t>(pc + 1);
        break;
      case EOL:
        if (_subject[pos] == '\0')
          w.stack[depth++] = static_cast<uint16_t>(pc + 1);
        break;
      case JMP:
        w.stack[depth++] = static_cast<uint16_t>(target);
        break;
      case SPLIT:
        w.stack[depth++] = static_cast<uint16_t>(target);
        w.stack[depth++] = static_cast<uint16_t>(pc + 1);
        break;
      default:
        report("memory corruption");
        return kBroken;
    }
  }
  return kGoOn;
}

bool Machine::takes(int pc, unsigned char c) const {
  const unsigned char* instruction = _code + pc * kInstructionSize;
  switch (instruction[0]) {
    case CHAR:
      return instruction[1] == c;
    case ANY:
      return c != 0;
    default: {
      int set = wordAt(instruction + 2);
      if (set < 0 || set >= _setCount) return false;
      return _sets[set * kSetSize + (c >> 3)] & (1 << (c & 7));
    }
  }
}

}  // namespace

ZephRegexp* compileRegexp(const char* pattern) {
  if (pattern == nullptr) {
    report("NULL argument");
    return nullptr;
  }
  Compiler measure(pattern, nullptr, 0);
  if (!measure.compile()) return nullptr;
  long size = kHeaderSize + long{measure.instructions()} * kInstructionSize +
              long{measure.sets()} * kSetSize +
              static_cast<long>(measure.must().size()) + 1;
  if (size >= kTooBig) {
    report("regexp too big");
    return nullptr;
  }
  unsigned char* block = static_cast<unsigned char*>(std::calloc(1, size));
  if (block == nullptr) {
    report("out of space");
    return nullptr;
  }
  Compiler writer(pattern, block, measure.instructions());
  if (!writer.compile() || writer.instructions() != measure.instructions()) {
    report("internal disaster");
    std::free(block);
    return nullptr;
  }
  block[0] = kMagic;
  block[1] = static_cast<unsigned char>((measure.anchored() ? kAnchored : 0) |
                                        (measure.hasFirst() ? kHasFirst : 0));
  block[2] = measure.first();
  putWord(block + 4, measure.instructions());
  putWord(block + 6, measure.sets());
  putWord(block + 8, static_cast<int>(measure.must().size()));
  std::memcpy(block + size - 1 - measure.must().size(), measure.must().data(),
              measure.must().size());
  return reinterpret_cast<ZephRegexp*>(block);
}

bool executeRegexp(const ZephRegexp* expression, const char* subject) {
  if (expression == nullptr || subject == nullptr) {
    report("NULL parameter");
    return false;
  }
  const unsigned char* block = reinterpret_cast<const unsigned char*>(expression);
  if (block[0] != kMagic) {
    report("corrupted program");
    return false;
  }
  return Machine(block, subject).run();
}
