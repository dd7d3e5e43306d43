#include "Directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <regex.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "LogStream.h"

namespace {

const char* kLogTimeFormat = "%h %d %y %T GMT";

bool compileFlags(int mode, int& flags) {
  static const int kModeFlags[] = {0, REG_ICASE, REG_EXTENDED,
                                   REG_ICASE | REG_EXTENDED};
  if (mode < 0 || mode > 3) return false;
  flags = REG_NOSUB | kModeFlags[mode];
  return true;
}

bool endsWith(const char* name, const TextString& tail) {
  size_t n = std::strlen(name);
  return n >= tail.length() &&
         std::strcmp(name + n - tail.length(), tail.chars()) == 0;
}

}  // namespace

Directory::Directory()
    : sorted(false), showHidden(false), useRegexp(false), regexpMode(0) {}

const TextString& Directory::operator[](int index) const {
  static const TextString empty;
  if (index < 0 || index >= names.length()) return empty;
  return names[index];
}

bool Directory::wanted(const char* name, const void* expression) const {
  if (name[0] == '.' && !showHidden) return false;
  if (expression &&
      regexec(static_cast<const regex_t*>(expression), name, 0, nullptr, 0) != 0)
    return false;
  if (!prefix.isEmpty() &&
      std::strncmp(name, prefix.chars(), prefix.length()) != 0)
    return false;
  return suffix.isEmpty() || endsWith(name, suffix);
}

void Directory::scan() {
  regex_t expression;
  bool compiled = false;
  if (useRegexp) {
    int flags;
    if (!compileFlags(regexpMode, flags)) {
      ZLOG(LogStream::BUG) << "Unknown flag in regexpMatch." << std::endl;
      return;
    }
    int error = regcomp(&expression, pattern.chars(), flags);
    if (error != 0) {
      char text[256];
      regerror(error, &expression, text, sizeof text);
      ZLOG(LogStream::BUG) << text << std::endl;
      return;
    }
    compiled = true;
  }

  DIR* dir = opendir(directory.chars());
  if (dir == nullptr) {
    int error = errno;
    ZLOG(LogStream::PROBLEM) << "error from opendir() for dir name: "
                             << directory << " - " << std::strerror(error)
                             << std::endl;
    if (compiled) regfree(&expression);
    return;
  }
  std::vector<TextString> found;
  while (struct dirent* entry = readdir(dir)) {
    if (wanted(entry->d_name, compiled ? &expression : nullptr))
      found.push_back(TextString(entry->d_name));
  }
  closedir(dir);
  if (compiled) regfree(&expression);

  if (sorted) std::sort(found.begin(), found.end());
  names = SeqOf<TextString>();
  for (const TextString& name : found) names.append(name);
}

bool Directory::purge(int days) {
  ZLOG(LogStream::DEBUG) << "purge(int): " << days << " days" << std::endl;
  return purge(AbsTime::now() - days * 86400L);
}

bool Directory::purge(const AbsTime& time) {
  ZLOG(LogStream::EVENT) << "Valid time = " << time.format(kLogTimeFormat)
                         << std::endl;
  // The names are relative to the directory; the caller's working
  // directory is put back afterwards.
  int home = open(".", O_RDONLY | O_DIRECTORY);
  if (chdir(directory.chars()) != 0) {
    int error = errno;
    ZLOG(LogStream::PROBLEM) << "Error in chdir to " << directory << ": "
                             << std::strerror(error) << std::endl;
    if (home >= 0) close(home);
    return false;
  }
  bool ok = purgeHere(time);
  if (home >= 0) {
    if (fchdir(home) != 0) {
      // The old directory is gone; there is nothing to go back to.
    }
    close(home);
  }
  return ok;
}

bool Directory::purgeHere(const AbsTime& time) {
  bool ok = true;
  for (int i = names.length() - 1; i >= 0; --i) {
    TextString name = static_cast<const SeqOf<TextString>&>(names)[i];
    struct stat info;
    if (stat(name.chars(), &info) != 0) {
      int error = errno;
      ZLOG(LogStream::PROBLEM) << "stat error on file " << name << ": "
                               << std::strerror(error) << std::endl;
      return false;
    }
    AbsTime modified(static_cast<long>(info.st_mtime));
    if (!(modified < time)) continue;
    if (unlink(name.chars()) != 0) {
      int error = errno;
      ZLOG(LogStream::PROBLEM) << "unlink " << name
                               << " error: " << std::strerror(error)
                               << std::endl;
      ok = false;
      continue;
    }
    ZLOG(LogStream::EVENT) << "Removing " << name << std::endl;
    ZLOG(LogStream::DEBUG) << "Time: " << modified.format(kLogTimeFormat)
                           << std::endl;
    names.replaceBetween(i - 1, i + 1, SeqOf<TextString>());
  }
  return ok;
}
