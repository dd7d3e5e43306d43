#ifndef ZEPH_INC_LOGSTREAM_H_
#define ZEPH_INC_LOGSTREAM_H_

#include <ostream>

#include "TextString.h"

// The one log of a process. A message is written in three steps:
//
//   if (!logGate(logStream(), LogStream::PROBLEM, __FILE__, __LINE__, false)) {
//     logStream() << "Unable to open " << path << std::endl;
//     logEnd(logStream());
//   }
//
// or, shorter and the same, ZLOG(LogStream::PROBLEM) << ... << std::endl;
// A message that the masks filter out costs the gate call alone: none of its
// pieces is evaluated.
class LogStream {
 public:
  // Categories, one bit each.
  enum Category : unsigned {
    USE = 1,
    EVENT = 2,
    PROBLEM = 4,
    BUG = 8,
    DEBUG = 16,
    VERBOSE = 32,
    DIAG = 64,
    FATAL = 128,
    LOG_STATUS = 256
  };
  // Sinks, in the order of the mask words.
  enum Sink { TTY = 0, FILE_SINK = 1, COLLECTIVE = 2, NUM_SINKS = 3 };
  // Prefix items, one bit each in a sink's prefix word.
  enum PrefixItem : unsigned {
    TIMESTAMP = 1,
    PROCESSNAME = 2,
    FILENAME = 4,
    LINENO = 8,
    PROCESSID = 16,
    UNIXTIME = 32
  };
  static constexpr unsigned kInitialMask = 0xFFFFFFCF;

  static LogStream& instance();

  std::ostream& stream();
  bool gate(unsigned category, const char* sourceFile, int sourceLine,
            bool suppressPrefix);
  void end();
  // Whether a message of this category from this source would pass the
  // gate now; starts no message. Lets a loop that would ask the gate once
  // per value ask once for all of them.
  bool enabled(unsigned category, const char* sourceFile);

  // SIGUSR1: the next message that reaches a file sink reopens it under a
  // freshly expanded name.
  void breakLogFiles();
  // SIGUSR2: with filtering off every message reaches both files.
  void toggleFiltering();
  bool filtering() const;

  // What the log preference reader sets. `program` and `sourceFile` null
  // stand for "all"; a program other than this one leaves things alone.
  void setFilter(const char* program, const char* sourceFile, Sink sink,
                 unsigned category, bool on);
  void setPrefixItem(Sink sink, unsigned item, bool on);
  // FATAL can't leave the abort set: answers false for that.
  bool setAbort(unsigned category, bool on);
  void setForceEndl(bool on);
  void setVerbosePrefix(unsigned category, bool on);

  // The hook taken from gate to end; a build that logs from several threads
  // puts a mutex here. By default it does nothing and succeeds.
  void setLockHooks(bool (*lock)(), void (*unlock)());

  unsigned globalMask(Sink sink) const;
  unsigned prefixWord(Sink sink) const;
  unsigned abortSet() const;

  // Name of a category bit ("BUG"), or "UNKNOWN".
  static const char* categoryName(unsigned category);
  // Expands the LOG_FILE or COLLECTIVE_FILE template and makes its
  // directories; empty when a directory can't be made.
  static TextString expandLogFileName(bool collective);

  // Puts every switch and mask back as at process start and closes the
  // files; lets one test run start from a known state.
  void resetToDefaults();

 private:
  class Impl;
  LogStream();
  void readPreferencesOnce();
  bool anySinkTakes(unsigned category, const char* sourceFile,
                    bool sinkOn[NUM_SINKS]);
  ~LogStream() = delete;
  Impl* _impl;
};

std::ostream& logStream();
bool logGate(std::ostream& stream, unsigned category, const char* sourceFile,
             int sourceLine, bool suppressPrefix = false);
void logEnd(std::ostream& stream);
void breakLogFiles();
void toggleFiltering();
// The program's name from /proc/self/cmdline, full or behind the last slash.
const char* programName(bool full);

// Ends the message at the close of the full expression that made it.
class LogMessageEnd {
 public:
  LogMessageEnd() = default;
  LogMessageEnd(const LogMessageEnd&) = delete;
  LogMessageEnd& operator=(const LogMessageEnd&) = delete;
  ~LogMessageEnd() { logEnd(logStream()); }
  std::ostream& stream() { return logStream(); }
};

#define ZLOG_AT(category, source)                                 \
  if (logGate(logStream(), (category), (source), __LINE__, false)) { \
  } else                                                            \
    LogMessageEnd().stream()

// Source names are the paths below the project root (the build maps
// __FILE__ so), which is what a log preference names.
#define ZLOG(category) ZLOG_AT(category, __FILE__)

// A line that continues the one before it, without the prefix.
#define ZLOG_BARE(category)                                          \
  if (logGate(logStream(), (category), __FILE__, __LINE__, true)) { \
  } else                                                            \
    LogMessageEnd().stream()

#endif  // ZEPH_INC_LOGSTREAM_H_
