#include "LogStream.h"

#include <sys/stat.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sstream>
#include <string>

#include "Dict.h"
#include "LogPreferences.h"

namespace {

struct SinkMasks {
  unsigned word[LogStream::NUM_SINKS];
};

const char* const kCategoryNames[] = {"USE",     "EVENT", "PROBLEM",
                                      "BUG",     "DEBUG", "VERBOSE",
                                      "DIAG",    "FATAL", "LOG-STATUS"};

std::string nodeName() {
  struct utsname names;
  if (uname(&names) != 0) return "unknown";
  return names.nodename;
}

std::string gmtAsctime() {
  time_t now = time(nullptr);
  struct tm parts;
  gmtime_r(&now, &parts);
  char buffer[64];
  asctime_r(&parts, buffer);
  return buffer;
}

std::string gmtNow(const char* format) {
  time_t now = time(nullptr);
  struct tm parts;
  gmtime_r(&now, &parts);
  char buffer[64];
  strftime(buffer, sizeof buffer, format, &parts);
  return buffer;
}

// Makes each directory of `path` in turn, open to all whatever the umask,
// as the processes of one program share the collective log.
bool makeDirectories(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    std::string dir = path.substr(0, slash);
    if (dir.empty() || dir.back() == '.' || dir.back() == '/') continue;
    struct stat info;
    if (stat(dir.c_str(), &info) == 0) continue;
    if (mkdir(dir.c_str(), 0777) != 0 || chmod(dir.c_str(), 0777) != 0) {
      std::fprintf(stderr, "Cannot make or write directory %s: %s\n",
                   dir.c_str(), std::strerror(errno));
      return false;
    }
  }
  return true;
}

bool noLock() { return true; }
void noUnlock() {}

}  // namespace

class LogStream::Impl {
 public:
  Impl() : perFile(50) { reset(); }

  void reset() {
    for (int s = 0; s < NUM_SINKS; ++s) {
      globalMasks.word[s] = kInitialMask;
      prefix[s] = 0;
    }
    perFile.clear();
    verbosePrefix = 0;
    abortSet = FATAL;
    filtering = true;
    forceEndl = true;
    closeFile(logFile);
    closeFile(collectiveFile);
    reopenLog = true;
    reopenCollective = true;
    text.str("");
    text.clear();
  }

  static void closeFile(FILE*& file) {
    if (file) std::fclose(file);
    file = nullptr;
  }

  std::string prefixFor(int sink) const {
    if (category == LOG_STATUS) return "LOG-STATUS: ";
    if (suppressPrefix && !(category & verbosePrefix) && sink != COLLECTIVE)
      return "";
    unsigned p = prefix[sink];
    std::string out;
    char buffer[64];
    if (p & PROCESSNAME) out += std::string(programName(false)) + " ";
    if (p & PROCESSID) out += std::to_string(getpid()) + " ";
    if (p & UNIXTIME) {
      std::snprintf(buffer, sizeof buffer, "%ld.%06ld ",
                    static_cast<long>(seconds), static_cast<long>(micros));
      out += buffer;
    }
    if (p & TIMESTAMP) {
      time_t t = seconds;
      struct tm parts;
      gmtime_r(&t, &parts);
      std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d.%03ld ",
                    parts.tm_hour, parts.tm_min, parts.tm_sec,
                    static_cast<long>(micros / 1000));
      out += buffer;
    }
    if (p & FILENAME) out += std::string(sourceFile) + " ";
    if (p & LINENO) out += std::to_string(sourceLine) + " ";
    return out + categoryName(category) + ": ";
  }

  void openFile(bool collective) {
    FILE*& file = collective ? collectiveFile : logFile;
    if (file) {
      if (!collective)
        std::fprintf(file, "LOG-STATUS: Breaking current log file at %s",
                     gmtAsctime().c_str());
      closeFile(file);
    }
    TextString name = expandLogFileName(collective);
    if (name.isEmpty()) return;
    mode_t old = umask(0);
    file = std::fopen(name.chars(), "a");
    if (file) chmod(name.chars(), 0666);
    umask(old);
    if (file == nullptr) {
      std::fprintf(stderr, "Cannot open log file: %s: %s.\n", name.chars(),
                   std::strerror(errno));
    } else if (!collective) {
      std::fprintf(file, "LOG-STATUS: Log file opened on host %s at %s",
                   nodeName().c_str(), gmtAsctime().c_str());
      std::fflush(file);
    }
  }

  void writeTo(FILE* file, int sink, const std::string& message,
               bool addNewline) {
    std::string line = prefixFor(sink) + message;
    if (addNewline) line += '\n';
    std::fwrite(line.data(), 1, line.size(), file);
    std::fflush(file);
  }

  std::ostringstream text;
  SinkMasks globalMasks;
  Dict<TextString, SinkMasks> perFile;
  unsigned prefix[NUM_SINKS];
  unsigned verbosePrefix;
  unsigned abortSet;
  bool filtering;
  bool forceEndl;
  bool reopenLog;
  bool reopenCollective;
  bool preferencesRead = false;
  FILE* logFile = nullptr;
  FILE* collectiveFile = nullptr;
  bool (*lock)() = noLock;
  void (*unlock)() = noUnlock;

  unsigned category = 0;
  const char* sourceFile = "";
  int sourceLine = 0;
  bool suppressPrefix = false;
  time_t seconds = 0;
  long micros = 0;
  bool sinkOn[NUM_SINKS] = {false, false, false};
};

LogStream::LogStream() : _impl(new Impl) {}

LogStream& LogStream::instance() {
  static LogStream* log = new LogStream;
  return *log;
}

std::ostream& LogStream::stream() { return _impl->text; }

void LogStream::readPreferencesOnce() {
  Impl& s = *_impl;
  if (s.preferencesRead) return;
  s.preferencesRead = true;
  if (!readLogPreferences()) {
    ZLOG_AT(LOG_STATUS, __FILE__)
        << "Can't process log preference file; skipping the rest.\n";
  }
}

bool LogStream::anySinkTakes(unsigned category, const char* sourceFile,
                             bool sinkOn[NUM_SINKS]) {
  Impl& s = *_impl;
  SinkMasks masks = s.globalMasks;
  // Most processes name no source file in their preferences; then the
  // gate costs no text at all.
  if (s.perFile.length() > 0) s.perFile.lookup(TextString(sourceFile), &masks);
  bool any = false;
  for (int sink = 0; sink < NUM_SINKS; ++sink) {
    sinkOn[sink] = (masks.word[sink] & category) != 0;
    any = any || sinkOn[sink];
  }
  return any;
}

bool LogStream::enabled(unsigned category, const char* sourceFile) {
  readPreferencesOnce();
  Impl& s = *_impl;
  if (!s.filtering) return true;
  bool sinkOn[NUM_SINKS];
  return anySinkTakes(category, sourceFile, sinkOn);
}

bool LogStream::gate(unsigned category, const char* sourceFile, int sourceLine,
                     bool suppressPrefix) {
  Impl& s = *_impl;
  readPreferencesOnce();
  if (!s.lock()) return true;
  if (s.filtering && !anySinkTakes(category, sourceFile, s.sinkOn)) {
    s.unlock();
    return true;
  }
  struct timeval now;
  gettimeofday(&now, nullptr);
  s.seconds = now.tv_sec;
  s.micros = now.tv_usec;
  s.category = category;
  s.sourceFile = sourceFile;
  s.sourceLine = sourceLine;
  s.suppressPrefix = suppressPrefix;
  return false;
}

void LogStream::end() {
  Impl& s = *_impl;
  bool aborting = (s.category & s.abortSet) != 0;
  if (aborting) s.text << " (LogStream Aborting Program) \n";
  std::string message = s.text.str();
  if (!message.empty()) {
    bool addNewline = false;
    if (s.forceEndl && message.back() != '\n') {
      std::fprintf(stderr,
                   "LOG-STATUS: Warning: \"%s\", line %d: message not "
                   "terminated with \\n or endl\n",
                   s.sourceFile, s.sourceLine);
      addNewline = true;
    }
    if (!s.filtering || s.sinkOn[FILE_SINK]) {
      if (s.reopenLog) {
        s.openFile(false);
        s.reopenLog = false;
      }
      if (s.logFile) s.writeTo(s.logFile, FILE_SINK, message, addNewline);
    }
    if (!s.filtering || s.sinkOn[COLLECTIVE]) {
      if (s.reopenCollective) {
        s.openFile(true);
        s.reopenCollective = false;
      }
      if (s.collectiveFile)
        s.writeTo(s.collectiveFile, COLLECTIVE, message, addNewline);
    }
    if (s.sinkOn[TTY]) s.writeTo(stderr, TTY, message, addNewline);
    s.text.str("");
    s.text.clear();
  }
  s.unlock();
  if (aborting) std::abort();
}

void LogStream::breakLogFiles() {
  _impl->reopenLog = true;
  _impl->reopenCollective = true;
}

void LogStream::toggleFiltering() { _impl->filtering = !_impl->filtering; }
bool LogStream::filtering() const { return _impl->filtering; }

void LogStream::setFilter(const char* program, const char* sourceFile,
                          Sink sink, unsigned category, bool on) {
  if (program && std::strcmp(program, programName(false)) != 0) return;
  Impl& s = *_impl;
  auto apply = [&](SinkMasks& masks) {
    if (on)
      masks.word[sink] |= category;
    else
      masks.word[sink] &= ~category;
  };
  if (sourceFile == nullptr) {
    apply(s.globalMasks);
    for (int i = 0; i < s.perFile.length(); ++i) {
      TextString key = s.perFile.keyAt(i);
      SinkMasks masks = s.perFile.valueAt(i);
      apply(masks);
      s.perFile.insert(key, masks);
    }
    return;
  }
  SinkMasks masks = s.globalMasks;
  s.perFile.lookup(TextString(sourceFile), &masks);
  apply(masks);
  s.perFile.insert(TextString(sourceFile), masks);
}

void LogStream::setPrefixItem(Sink sink, unsigned item, bool on) {
  unsigned& word = _impl->prefix[sink];
  if (on) {
    // A line number means nothing without the file it belongs to.
    if (item == LINENO && !(word & FILENAME)) return;
    word |= item;
    return;
  }
  if (sink == COLLECTIVE && (item & (TIMESTAMP | PROCESSNAME))) {
    std::fprintf(stderr,
                 "LOG-STATUS: Warning: can't turn off timestamp or process"
                 " name in the collective log.\n");
    return;
  }
  word &= ~item;
  if (item == FILENAME) word &= ~LINENO;
}

bool LogStream::setAbort(unsigned category, bool on) {
  if (on) {
    _impl->abortSet |= category;
    return true;
  }
  if (category & FATAL) return false;
  _impl->abortSet &= ~category;
  return true;
}

void LogStream::setForceEndl(bool on) { _impl->forceEndl = on; }

void LogStream::setVerbosePrefix(unsigned category, bool on) {
  if (on)
    _impl->verbosePrefix |= category;
  else
    _impl->verbosePrefix &= ~category;
}

void LogStream::setLockHooks(bool (*lock)(), void (*unlock)()) {
  _impl->lock = lock ? lock : noLock;
  _impl->unlock = unlock ? unlock : noUnlock;
}

unsigned LogStream::globalMask(Sink sink) const {
  return _impl->globalMasks.word[sink];
}
unsigned LogStream::prefixWord(Sink sink) const { return _impl->prefix[sink]; }
unsigned LogStream::abortSet() const { return _impl->abortSet; }

const char* LogStream::categoryName(unsigned category) {
  for (unsigned bit = 0; bit < 9; ++bit)
    if (category == (1u << bit)) return kCategoryNames[bit];
  return "UNKNOWN";
}

TextString LogStream::expandLogFileName(bool collective) {
  const char* fromEnv = std::getenv(collective ? "COLLECTIVE_FILE" : "LOG_FILE");
  std::string pattern =
      fromEnv ? fromEnv : (collective ? "%L/%D/%N" : "%L/%D/%N%P%H%T");
  std::string name;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '%' || i + 1 == pattern.size()) {
      name += pattern[i];
      continue;
    }
    const char* value;
    switch (pattern[++i]) {
      case '%':
        name += '%';
        break;
      case 'D':
        name += gmtNow("%Y%m%d");
        break;
      case 'H':
        name += nodeName();
        break;
      case 'L':
        value = std::getenv("LOG_DIR");
        name += value ? value : "./";
        break;
      case 'N':
        name += programName(false);
        break;
      case 'P':
        if (!collective) name += std::to_string(getpid());
        break;
      case 'T':
        if (!collective) name += gmtNow("%H%M%S");
        break;
      case 'd':
        value = std::getenv("DISPLAY");
        name += value ? value : ":0";
        break;
      default:
        std::fprintf(stderr,
                     "Ignoring bad %%-sequence in the file template\n");
    }
  }
  if (!makeDirectories(name)) return TextString();
  return TextString(name.c_str());
}

void LogStream::resetToDefaults() { _impl->reset(); }

std::ostream& logStream() { return LogStream::instance().stream(); }

bool logGate(std::ostream&, unsigned category, const char* sourceFile,
             int sourceLine, bool suppressPrefix) {
  return LogStream::instance().gate(category, sourceFile, sourceLine,
                                    suppressPrefix);
}

void logEnd(std::ostream&) { LogStream::instance().end(); }

void breakLogFiles() { LogStream::instance().breakLogFiles(); }

void toggleFiltering() { LogStream::instance().toggleFiltering(); }

const char* programName(bool full) {
  static std::string fullName;
  static std::string baseName;
  static bool read = false;
  if (!read) {
    read = true;
    FILE* cmdline = std::fopen("/proc/self/cmdline", "r");
    if (cmdline == nullptr) {
      fullName = "unknown";
    } else {
      int c;
      while ((c = std::fgetc(cmdline)) != EOF && c != '\0' && c != ' ')
        fullName += static_cast<char>(c);
      std::fclose(cmdline);
    }
    size_t slash = fullName.rfind('/');
    baseName = slash == std::string::npos ? fullName : fullName.substr(slash + 1);
  }
  return full ? fullName.c_str() : baseName.c_str();
}
