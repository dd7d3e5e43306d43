// What the base offers a product beyond bit reading: its pattern file (the
// data request, the data format codes and their regional designators) and
// the mapping from Table B names to the variables of its netCDF template.
#include <netcdfcpp.h>

#include <cstdio>
#include <cstdlib>

#include "BufrDecoder.h"
#include "BufrEngineState.h"
#include "LogStream.h"
#include "StaticBufrInfo.h"
#include "StringTokenizer.h"

namespace {

// fgets reads a pattern line into this many characters.
const int kPatternLine = 100;
// The regional designator stands from this column of a pattern line.
const unsigned kDesignatorColumn = 10;

}  // namespace

TextString BufrDecoder::upperCaseLetters(const TextString& text) {
  StringTokenizer tokens(text, TextString("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), true);
  TextString letters;
  while (tokens.hasMoreTokens()) {
    TextString token = tokens.nextToken();
    if (token.chars()[0] >= 'A' && token.chars()[0] <= 'Z') letters += token;
  }
  return letters;
}

TextString BufrDecoder::getBufrPatterns() {
  BufrEngineState& engine = BufrEngineState::get();
  TextString name = patternFileName();
  TextString pattern;
  if (!engine.patternCache.lookup(name, &pattern)) {
    const char* home = std::getenv("ZEPH_HOME");
    TextString path = TextString(home ? home : "") + "/data/" + name;
    FILE* file = std::fopen(path.chars(), "r");
    if (file == nullptr) {
      ZLOG(LogStream::PROBLEM) << "Unable to get bufr pattern from " << path
                               << std::endl;
      return TextString();
    }
    ZLOG(LogStream::VERBOSE) << "Reading bufr patterns from " << path
                             << std::endl;
    char line[kPatternLine] = "";
    int count = 0;
    // A first line without a count gives no pattern lines.
    if (!std::fgets(line, sizeof line, file) ||
        std::sscanf(line, "%*s%*s%*s%d", &count) != 1)
      count = 0;
    line[0] = '\0';
    TextString designator;
    for (int n = 0; n < count; ++n) {
      // A file shorter than its count gives its last line again.
      if (!std::fgets(line, sizeof line, file)) {
        // fgets left the buffer as it was
      }
      TextString text(line);
      unsigned blank, newline;
      TextString alternative =
          text.search(' ', blank) ? text.left(blank) : text;
      TextString code = upperCaseLetters(alternative);
      _prefixes.insert(code);
      if (n > 0) pattern += "|";
      pattern += alternative;
      if (text.search('\n', newline))
        designator = text.substring(kDesignatorColumn,
                                    newline - kDesignatorColumn);
      addDesignator(code, designator);
      engine.patternCache.insert(name, pattern);
    }
    std::fclose(file);
  }
  ZLOG(LogStream::DEBUG) << "BUFR Pattern [" << pattern << "]" << std::endl;
  return pattern;
}

void BufrDecoder::addDesignator(const TextString& code,
                                const TextString& designator) {
  if (_designators.lookup(code)) return;  // the first line of a code decides
  ZLOG(LogStream::DEBUG) << "BufrDecoder:dataFormatCode = " << code
                         << "\nBufrDecoder:designator     = " << designator
                         << std::endl;
  regex_t* compiled = new regex_t;
  if (regcomp(compiled, designator.chars(), REG_EXTENDED) != 0) {
    delete compiled;
    ZLOG(LogStream::PROBLEM) << "Error in regional designator pattern: "
                             << designator << " for WMO code " << code
                             << " not stored in dictionary." << std::endl;
    return;
  }
  ZLOG(LogStream::DEBUG) << "Adding " << code << " to dictionary." << std::endl;
  _designators.insert(code, compiled);
}

bool BufrDecoder::matchesDesignator(TextString text, regex_t expression) {
  return regexec(&expression, text.chars(), 0, nullptr, 0) == 0;
}

SeqOf<TextString> BufrDecoder::getTokens(NcValues* values) {
  char* text = values->as_string(0);
  ZLOG(LogStream::EVENT) << "BufrDecoder::getTokens()" << text << std::endl;
  StringTokenizer tokenizer(TextString(text), TextString("|"));
  delete[] text;
  SeqOf<TextString> tokens;
  while (tokenizer.hasMoreTokens()) {
    TextString token = tokenizer.nextToken();
    token.stripTrailingBlanks();
    tokens.append(token);
  }
  return tokens;
}

SeqOf<TextString> BufrDecoder::attributeTokens(NcAtt* attribute) {
  NcValues* values = attribute->values();
  if (values == nullptr) return SeqOf<TextString>();
  if (!logGate(logStream(), LogStream::DEBUG, __FILE__, __LINE__)) {
    char* first = values->as_string(0);
    logStream() << "ncValue = " << first << std::endl;
    delete[] first;
    logEnd(logStream());
  }
  SeqOf<TextString> tokens = getTokens(values);
  delete values;
  return tokens;
}

bool BufrDecoder::findAttributeTokens(NcVar* variable,
                                      const TextString& attribute,
                                      SeqOf<TextString>& tokens) {
  bool found = false;
  for (int a = 0; a < variable->num_atts(); ++a) {
    NcAtt* att = variable->get_att(a);
    if (att != nullptr && att->is_valid()) {
      ZLOG(LogStream::DEBUG) << "Searching var:" << variable->name()
                             << ", attr: " << att->name() << " for "
                             << attribute << std::endl;
      if (attribute == TextString(att->name())) {
        tokens = attributeTokens(att);
        found = true;
        for (int t = 0; t < tokens.length(); ++t) {
          ZLOG(LogStream::DEBUG) << "Found " << att->name() << ":"
                                 << tokens.at(t) << " in " << variable->name()
                                 << std::endl;
        }
      }
    }
    delete att;
  }
  return found;
}

Dict<TextString, TextString> BufrDecoder::readTemplateDict(
    TextString path, TextString attribute) {
  Dict<TextString, TextString> dict;
  // Verbose and non-fatal for the time of this call: a template that
  // can't be read must not end the process.
  NcError errors(NcError::verbose_nonfatal);
  NcFile file(path.chars(), NcFile::ReadOnly);
  if (!file.is_valid()) {
    ZLOG(LogStream::PROBLEM) << "Unable to open " << path << ", "
                             << nc_strerror(errors.get_err()) << std::endl;
    return dict;
  }
  for (int v = 0; v < file.num_vars(); ++v) {
    NcVar* variable = file.get_var(v);
    if (variable == nullptr || !variable->is_valid()) continue;
    SeqOf<TextString> tokens;
    if (!findAttributeTokens(variable, attribute, tokens)) continue;
    for (int t = 0; t < tokens.length(); ++t)
      dict.insert(tokens.at(t), TextString(variable->name()));
  }
  file.close();
  return dict;
}

bool BufrDecoder::ncVarNameForDescriptor(
    int descriptor, TextString& name, const Dict<TextString, TextString>& dict) {
  TableBEntry entry;
  if (!StaticBufrInfo::instance().tableBEntry(descriptor, entry)) return false;
  return dict.lookup(entry.description(), &name);
}

bool BufrDecoder::printDict(const Dict<TextString, TextString>& dict) {
  ZLOG(LogStream::VERBOSE) << "BufrDecoder::printDict()" << std::endl;
  Dict<TextString, TextString> sorted(dict);
  sorted.setSorted(true);
  for (int i = 0; i < sorted.length(); ++i) {
    ZLOG(LogStream::VERBOSE) << i << ") Attr: \"" << sorted.keyAt(i) << "\"; "
                             << "Netcdf VarName: " << sorted.valueAt(i)
                             << std::endl;
  }
  return true;
}
