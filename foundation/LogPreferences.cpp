#include "LogPreferences.h"

#include <strings.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "LogStream.h"

namespace {

enum Token {
  END,
  OVERFLOW,
  WORD,
  EQUALS,
  ALL,
  SINK,      // value: the sink
  CATEGORY,  // value: the category bit
  PREFIX,    // value: the prefix item bit
  ABORT,
  TRACEBACK,
  ON,
  OFF,
  FORCEENDL,
  SUPPRESS_PREFIX,
  INCLUDE_PREFIX,
  LOGDIR  // reserved: no statement uses it
};

const struct Keyword {
  const char* name;
  Token token;
  unsigned value;
} kKeywords[] = {
    {"ALL", ALL, 0},
    {"TTY", SINK, LogStream::TTY},
    {"FILE", SINK, LogStream::FILE_SINK},
    {"COLLECTIVE", SINK, LogStream::COLLECTIVE},
    {"USE", CATEGORY, LogStream::USE},
    {"EVENT", CATEGORY, LogStream::EVENT},
    {"PROBLEM", CATEGORY, LogStream::PROBLEM},
    {"BUG", CATEGORY, LogStream::BUG},
    {"DEBUG", CATEGORY, LogStream::DEBUG},
    {"VERBOSE", CATEGORY, LogStream::VERBOSE},
    {"DIAG", CATEGORY, LogStream::DIAG},
    {"FATAL", CATEGORY, LogStream::FATAL},
    {"TIMESTAMP", PREFIX, LogStream::TIMESTAMP},
    {"PROCESSNAME", PREFIX, LogStream::PROCESSNAME},
    {"FILENAME", PREFIX, LogStream::FILENAME},
    {"LINENO", PREFIX, LogStream::LINENO},
    {"PROCESSID", PREFIX, LogStream::PROCESSID},
    {"UNIXTIME", PREFIX, LogStream::UNIXTIME},
    {"ABORT", ABORT, 0},
    {"TRACEBACK", TRACEBACK, 0},
    {"ON", ON, 0},
    {"OFF", OFF, 0},
    {"FORCEENDL", FORCEENDL, 0},
    {"SUPPRESSPREFIXFORVERBOSE_", SUPPRESS_PREFIX, 0},
    {"INCLUDEPREFIXFORVERBOSE_", INCLUDE_PREFIX, 0},
    {"LOGDIR", LOGDIR, 0},
};

// What a filter of category ALL takes in turn.
const unsigned kAllCategories =
    LogStream::BUG | LogStream::PROBLEM | LogStream::EVENT | LogStream::DIAG |
    LogStream::FATAL | LogStream::USE | LogStream::DEBUG | LogStream::VERBOSE |
    LogStream::LOG_STATUS;

// Cuts a preference file into tokens: "=", keywords and words, with blanks,
// tabs, newlines and comments from "#" to the end of the line between them.
// It reads through a buffer of its own; a token longer than the buffer is
// an overflow, which ends the reading.
class Scanner {
 public:
  static const size_t kBufferSize = 16384;

  explicit Scanner(std::FILE* file) : _file(file) {}

  Token next() {
    if (_pushedBack) {
      _pushedBack = false;
      return _token;
    }
    _token = scan();
    return _token;
  }
  Token peek() {
    Token t = next();
    _pushedBack = true;
    return t;
  }
  const std::string& text() const { return _text; }
  unsigned value() const { return _value; }
  int line() const { return _line; }
  bool overflowed() const { return _overflowed; }

 private:
  // The next character, or EOF.
  int get() {
    if (_at == _filled) {
      _filled = std::fread(_buffer, 1, kBufferSize, _file);
      _at = 0;
      if (_filled == 0) return EOF;
    }
    return static_cast<unsigned char>(_buffer[_at++]);
  }
  void unget() { --_at; }  // only right after a get() that gave a character

  static bool isBlank(int c) { return c == ' ' || c == '\t' || c == '\n'; }

  Token scan() {
    int c = get();
    for (;;) {
      if (c == '\n') ++_line;
      if (c == '#') {
        while (c != '\n' && c != EOF) c = get();
        continue;
      }
      if (!isBlank(c)) break;
      c = get();
    }
    if (c == EOF) return END;
    if (c == '=') return EQUALS;
    _text.clear();
    while (c != EOF && !isBlank(c) && c != '=' && c != '#') {
      if (_text.size() == kBufferSize) {
        _overflowed = true;
        std::fprintf(stderr, "fatal error - scanner input buffer overflow\n");
        return OVERFLOW;
      }
      _text += static_cast<char>(c);
      c = get();
    }
    if (c != EOF) unget();
    for (const Keyword& k : kKeywords) {
      if (_text.size() == std::strlen(k.name) &&
          strncasecmp(k.name, _text.data(), _text.size()) == 0) {
        _value = k.value;
        return k.token;
      }
    }
    return WORD;
  }

  std::FILE* _file;
  char _buffer[kBufferSize];
  size_t _filled = 0;
  size_t _at = 0;
  int _line = 1;
  bool _overflowed = false;
  Token _token = END;
  bool _pushedBack = false;
  std::string _text;
  unsigned _value = 0;
};

// Reads statement after statement into the log stream until the end or
// the first statement that fails.
class Parser {
 public:
  explicit Parser(std::FILE* file)
      : _in(file), _log(LogStream::instance()) {}

  bool run() {
    for (Token t = _in.next(); t != END; t = _in.next())
      if (!statement(t)) return false;
    return true;
  }

 private:
  bool statement(Token first) {
    switch (first) {
      case WORD: {
        std::string program = _in.text();
        return filterFrom(program.c_str());
      }
      case ALL:
        return allFirst();
      case SINK:
        return prefixOfSink(static_cast<LogStream::Sink>(_in.value()));
      case CATEGORY:
        return categoryFirst(_in.value());
      case FORCEENDL:
        return switchStatement("Malformed forceendl command",
                               [this](bool on) { _log.setForceEndl(on); });
      case INCLUDE_PREFIX:
        return switchStatement(
            "Malformed includePrefixForVerbose_ command", [this](bool on) {
              _log.setVerbosePrefix(LogStream::VERBOSE, on);
            });
      case SUPPRESS_PREFIX:
        return switchStatement(
            "Malformed suppressPrefixForVerbose_ command", [this](bool on) {
              _log.setVerbosePrefix(LogStream::VERBOSE, !on);
            });
      default:
        return fail("Unexpected symbol/keyword");
    }
  }

  // "= ON" or "= OFF".
  bool value(bool* on) {
    if (_in.next() != EQUALS) return false;
    Token t = _in.next();
    *on = t == ON;
    return t == ON || t == OFF;
  }

  template <class Apply>
  bool switchStatement(const char* malformed, Apply apply) {
    bool on;
    if (!value(&on)) return fail(malformed);
    apply(on);
    return true;
  }

  // ALL begins a filter of all programs, or a prefix item of all sinks.
  bool allFirst() {
    Token t = _in.next();
    if (t == WORD) {
      std::string file = _in.text();
      return filterRest(nullptr, file.c_str());
    }
    if (t == ALL) return filterRest(nullptr, nullptr);
    if (t != PREFIX) return fail("Cannot understand filter/prefix control");
    unsigned item = _in.value();
    bool on;
    if (!value(&on)) return fail("Malformed prefix command");
    for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink)
      _log.setPrefixItem(static_cast<LogStream::Sink>(sink), item, on);
    return true;
  }

  bool filterFrom(const char* program) {
    Token t = _in.next();
    if (t == ALL) return filterRest(program, nullptr);
    if (t != WORD) return fail("Can't understand rest of filter command");
    std::string file = _in.text();
    return filterRest(program, file.c_str());
  }

  // Sink, category and value of a filter; null names stand for ALL.
  bool filterRest(const char* program, const char* file) {
    Token sink = _in.next();
    if (sink != SINK && sink != ALL)
      return fail("Sink missing from filter command");
    int oneSink = sink == ALL ? -1 : static_cast<int>(_in.value());
    Token category = _in.next();
    if (category != CATEGORY && category != ALL)
      return fail("Message category missing from filter command");
    unsigned categories = category == ALL ? kAllCategories : _in.value();
    bool on;
    if (!value(&on)) return fail("Malformed filter command");
    for (int s = 0; s < LogStream::NUM_SINKS; ++s) {
      if (oneSink == -1 || oneSink == s)
        _log.setFilter(program, file, static_cast<LogStream::Sink>(s),
                       categories, on);
    }
    return true;
  }

  bool prefixOfSink(LogStream::Sink sink) {
    if (_in.next() != PREFIX)
      return fail("Can't understand rest of prefix command");
    unsigned item = _in.value();
    bool on;
    if (!value(&on)) return fail("Malformed prefix command");
    _log.setPrefixItem(sink, item, on);
    return true;
  }

  // The categories that may end the process: "BUG ABORT = ON". Their
  // obsolete TRACEBACK is passed over; anything else after them is
  // dropped.
  bool categoryFirst(unsigned category) {
    const unsigned abortable = LogStream::BUG | LogStream::DEBUG |
                               LogStream::VERBOSE | LogStream::FATAL;
    if (!(category & abortable)) return fail("Unexpected symbol/keyword");
    Token t = _in.next();
    if (t == TRACEBACK) {
      if (_in.peek() == EQUALS) {
        _in.next();
        if (_in.peek() == ON || _in.peek() == OFF) _in.next();
      }
      std::fprintf(stderr,
                   "Obsolete traceback command in logPref file ignored\n");
      return true;
    }
    if (t == OVERFLOW) return false;
    if (t != ABORT) return true;
    bool on;
    if (!value(&on)) return fail("Malformed abort command");
    if (!_log.setAbort(category, on)) {
      std::fprintf(stderr,
                   "LOG-STATUS: Line %d: You cannot turn abort off for the "
                   "fatal category.\n",
                   _in.line());
    }
    return true;
  }

  // The scanner has told its own overflow already.
  bool fail(const char* text) {
    if (!_in.overflowed()) {
      ZLOG(LogStream::LOG_STATUS)
          << "Line " << _in.line() << ": " << text << "\n";
    }
    return false;
  }

  Scanner _in;
  LogStream& _log;
};

bool readAndClose(std::FILE* file) {
  bool read = readLogPreferences(file);
  std::fclose(file);
  return read;
}

}  // namespace

bool readLogPreferences(std::FILE* file) { return Parser(file).run(); }

bool readLogPreferences() {
  if (const char* named = std::getenv("LOG_PREF")) {
    std::FILE* file = std::fopen(named, "r");
    if (file == nullptr) {
      std::fprintf(stderr,
                   "Can't open log preference file specified by LOG_PREF"
                   "\nenvironment variable (LOG_PREF = %s): %s.\n",
                   named, std::strerror(errno));
      return false;
    }
    return readAndClose(file);
  }
  std::FILE* file = std::fopen(".logPref", "r");
  const char* home = std::getenv("HOME");
  if (file == nullptr && home != nullptr)
    file = std::fopen((std::string(home) + "/.logPref").c_str(), "r");
  if (file == nullptr) {
    std::fprintf(stderr,
                 "Can't open .logPref or ~/.logPref; using"
                 " defaults.\n");
    return true;
  }
  return readAndClose(file);
}
