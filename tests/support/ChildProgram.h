#ifndef ZEPH_TESTS_SUPPORT_CHILDPROGRAM_H_
#define ZEPH_TESTS_SUPPORT_CHILDPROGRAM_H_

#include <sys/types.h>

#include <string>
#include <vector>

// A real program run as a child of the test: its standard input and output
// are pipes the test writes and reads a line at a time, its standard error
// goes to a file. Killed and reaped when the object goes, if still there.
class ChildProgram {
 public:
  // `errFile` empty leaves standard error to the test's.
  ChildProgram(const std::vector<std::string>& argv,
               const std::string& errFile = "");
  ~ChildProgram();
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  pid_t pid() const { return _pid; }
  bool started() const { return _pid > 0; }

  // The next line of its output, without the newline; false when none came
  // within `seconds` or the output ended.
  bool readLine(std::string* line, double seconds);
  // Reads lines until one starts with `prefix`, which it answers; the lines
  // passed over are kept in `skipped` when given. Empty when none came.
  std::string waitFor(const std::string& prefix, double seconds,
                      std::vector<std::string>* skipped = nullptr);
  void writeLine(const std::string& line);
  void closeInput();

  // Sends `signal` and waits for the end. Answers the wait status, or -1.
  int stop(int signal);
  // Waits at most `seconds` for the end; -1 when it didn't come.
  int waitExit(double seconds);

 private:
  pid_t _pid = -1;
  int _in = -1;
  int _out = -1;
  std::string _buffered;
};

#endif  // ZEPH_TESTS_SUPPORT_CHILDPROGRAM_H_
