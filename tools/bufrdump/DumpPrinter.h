#ifndef ZEPH_TOOLS_BUFRDUMP_DUMPPRINTER_H_
#define ZEPH_TOOLS_BUFRDUMP_DUMPPRINTER_H_

#include <string>
#include <vector>

class BufrDecoder;

// The shortest text that reads back to the same float (38.98, not
// 38.9799995); whole numbers below 1e16 without an exponent.
std::string floatText(float value);

// Prints on standard output what became of each file, as a readable table
// or as JSON lines, and counts the files for the closing line.
class DumpPrinter {
 public:
  explicit DumpPrinter(bool json) : _json(json) {}

  // A file that decoded: its header and its values.
  void decoded(const std::string& file, const BufrDecoder& decoder);
  // A file that didn't: its name and the reasons, one to a line.
  void failed(const std::string& file, const std::vector<std::string>& reasons);
  // The closing line: files decoded and failed.
  void summary() const;

  int decodedCount() const { return _decoded; }
  int failedCount() const { return _failed; }

 private:
  void tableOf(const BufrDecoder& decoder) const;
  void jsonOf(const BufrDecoder& decoder) const;

  bool _json;
  int _decoded = 0;
  int _failed = 0;
};

#endif  // ZEPH_TOOLS_BUFRDUMP_DUMPPRINTER_H_
