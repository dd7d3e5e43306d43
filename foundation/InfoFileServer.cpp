#include "InfoFileServer.h"

#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "LogStream.h"
#include "StringTokenizer.h"

namespace {

struct ServerState {
  SeqOf<TextString> defaults;
  bool ready = false;
  TextString lastPath;
};

// Lives to process exit; never destroyed, so that code running from static
// destructors can still find files.
ServerState& state() {
  static ServerState* s = new ServerState;
  return *s;
}

bool isBlankOrControl(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

const char* skipBlanks(const char* p) {
  while (*p && isBlankOrControl(*p)) ++p;
  return p;
}

// Appends the pieces of `text` between characters not above the blank.
void appendPieces(const char* text, SeqOf<TextString>& pieces) {
  const char* p = skipBlanks(text);
  while (*p) {
    const char* end = p;
    while (*end && !isBlankOrControl(*end)) ++end;
    pieces.append(TextString(p, static_cast<unsigned>(end - p)));
    p = skipBlanks(end);
  }
}

void setUpDefaults(ServerState& s) {
  SeqOf<TextString> raw;
  bool withStandard = true;
  if (const char* variable = getenv("FILE_SERVER_DEFAULT_PATHS")) {
    const char* text = skipBlanks(variable);
    if (*text == '+')
      ++text;
    else
      withStandard = false;
    appendPieces(text, raw);
  }
  if (withStandard) {
    raw.append("${ZEPH_LOCALIZATION_ROOT}/${ZEPH_LOCAL_SITE}/");
    raw.append("${ZEPH_NATL_CONFIG_DATA}/nationalData/");
    raw.append("${ZEPH_HOME}/data/");
  }
  raw.append(TextString());  // the plain name, last

  s.defaults = SeqOf<TextString>();
  for (int i = 0; i < raw.length(); ++i) {
    TextString entry = raw[i];
    if (entry == "+")
      entry = TextString();  // where the plain name is to be tried
    else
      expandVariables(entry);
    if (s.defaults.findFirst(entry) >= 0) continue;
    s.defaults.append(entry);
    ZLOG(LogStream::VERBOSE) << "default path: " << entry << std::endl;
  }
  s.ready = true;
}

ServerState& readyState() {
  ServerState& s = state();
  if (!s.ready) setUpDefaults(s);
  return s;
}

SeqOf<TextString> expandedWords(const TextString& text) {
  SeqOf<TextString> words;
  StringTokenizer tokenizer(text);
  while (tokenizer.hasMoreTokens()) {
    TextString word = tokenizer.nextToken();
    expandVariables(word);
    words.append(word);
  }
  return words;
}

}  // namespace

void expandVariables(TextString& text) {
  const char* s = text.chars();
  if (std::strchr(s, '$') == nullptr) return;
  TextString result;
  for (const char* p = s; *p;) {
    if (*p != '$') {
      result += *p++;
      continue;
    }
    const char* start = p + 1;
    if (*start == '{') ++start;
    const char* end = start;
    while (*end && std::strchr("$/}", *end) == nullptr) ++end;
    TextString name(start, static_cast<unsigned>(end - start));
    if (!name.isEmpty()) {
      if (const char* value = getenv(name.chars())) result += value;
    }
    p = (*end == '}') ? end + 1 : end;
  }
  text = result;
}

TextString findInfoFile(const TextString& name) {
  ServerState& s = readyState();
  TextString text = name;
  unsigned lastBar = 0;
  bool hasBar = false;
  for (unsigned i = 0; i < text.length(); ++i) {
    if (text.chars()[i] != '|') continue;
    text[i] = ' ';
    lastBar = i;
    hasBar = true;
  }

  SeqOf<TextString> paths;
  SeqOf<TextString> candidates;
  if (!hasBar) {
    paths = s.defaults;
    candidates = expandedWords(text);
  } else {
    TextString front = text.left(lastBar);
    front.stripLeadingBlanks();
    if (front.chars()[0] == '+') {
      paths = s.defaults;
      front.remove(0, 1);
    } else {
      paths.append(TextString());
    }
    SeqOf<TextString> own = expandedWords(front);
    for (int i = 0; i < own.length(); ++i) paths.append(own[i]);
    candidates = expandedWords(text.right(text.length() - lastBar - 1));
  }

  for (int c = 0; c < candidates.length(); ++c) {
    for (int p = 0; p < paths.length(); ++p) {
      s.lastPath = paths[p] + candidates[c];
      if (access(s.lastPath.chars(), R_OK) == 0) return s.lastPath;
    }
  }
  return TextString();
}

FILE* openInfoFile(const TextString& name) {
  TextString path = findInfoFile(name);
  if (path.isEmpty()) return nullptr;
  return fopen(path.chars(), "r");
}

bool infoFileExists(const TextString& name) {
  FILE* file = openInfoFile(name);
  if (file == nullptr) return false;
  fclose(file);
  return true;
}

FILE* createInfoFile(const TextString& name) {
  ServerState& s = readyState();
  TextString text = name;
  expandVariables(text);
  const char* start = skipBlanks(text.chars());
  const char* end = start + std::strlen(start);
  while (end > start && isBlankOrControl(end[-1])) --end;
  if (end == start) return nullptr;
  TextString trimmed(start, static_cast<unsigned>(end - start));
  for (int i = 0; i < s.defaults.length(); ++i) {
    s.lastPath = s.defaults[i] + trimmed;
    if (FILE* file = fopen(s.lastPath.chars(), "w")) return file;
  }
  return nullptr;
}

TextString lastInfoFilePath() { return state().lastPath; }

int splitList(char* buffer, char** entries, int maxEntries, char delimiter) {
  if (maxEntries <= 0) return 0;
  auto isWhite = [delimiter](char c) {
    return c != delimiter && std::isspace(static_cast<unsigned char>(c));
  };
  int count = 0;
  char* p = buffer;
  while (count < maxEntries) {
    while (*p && isWhite(*p)) ++p;
    entries[count++] = p;
    char* end = p;
    while (*end && *end != delimiter) ++end;
    bool more = *end == delimiter;
    char* cut = end;
    while (cut > p && isWhite(cut[-1])) --cut;
    *cut = '\0';  // also ends the entry in place of the delimiter
    if (!more) break;
    p = end + 1;
  }
  return count;
}

const SeqOf<TextString>& defaultInfoFilePaths() { return readyState().defaults; }

void resetInfoFileServerForTests() {
  ServerState& s = state();
  s.defaults = SeqOf<TextString>();
  s.lastPath = TextString();
  s.ready = false;
}

bool includedFileName(const char* line, TextString& name) {
  if (std::strncmp(line, "#include", 8) != 0) return false;
  const char* open = std::strchr(line + 8, '"');
  if (open == nullptr) return false;
  const char* close = std::strchr(open + 1, '"');
  if (close == nullptr) return false;
  name = TextString(open + 1, static_cast<unsigned>(close - open - 1));
  return true;
}

bool readTextLine(FILE* file, TextString& line) {
  char piece[200];
  line = TextString();
  bool any = false;
  while (fgets(piece, sizeof piece, file)) {
    any = true;
    size_t n = std::strlen(piece);
    if (n > 0 && piece[n - 1] == '\n') {
      piece[n - 1] = '\0';
      line += piece;
      return true;
    }
    line += piece;
  }
  return any;
}
