#include "LogCapture.h"

#include <stdlib.h>
#include <unistd.h>

LogCapture::~LogCapture() { end(); }

void LogCapture::begin() {
  end();
  std::fflush(stdout);
  std::fflush(stderr);
  _file = std::tmpfile();
  if (_file == nullptr) return;
  _saved = dup(STDERR_FILENO);
  if (_saved < 0 || dup2(fileno(_file), STDERR_FILENO) < 0) {
    if (_saved >= 0) close(_saved);
    _saved = -1;
    std::fclose(_file);
    _file = nullptr;
  }
}

std::vector<std::string> LogCapture::end() {
  std::vector<std::string> lines;
  if (_file == nullptr) return lines;
  std::fflush(stderr);
  dup2(_saved, STDERR_FILENO);
  close(_saved);
  _saved = -1;
  std::rewind(_file);
  char* line = nullptr;
  size_t capacity = 0;
  ssize_t length;
  while ((length = getline(&line, &capacity, _file)) > 0) {
    if (line[length - 1] == '\n') --length;
    lines.emplace_back(line, length);
  }
  free(line);
  std::fclose(_file);
  _file = nullptr;
  return lines;
}
