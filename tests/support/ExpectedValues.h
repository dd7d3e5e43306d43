#ifndef ZEPH_TESTS_SUPPORT_EXPECTEDVALUES_H_
#define ZEPH_TESTS_SUPPORT_EXPECTEDVALUES_H_

#include <map>
#include <string>
#include <vector>

// The values of a message as an independent decoder gives them, read from
// a ".expected" file of tests/data/bufr/expected_values.py: header facts,
// then one line a value, subset by subset.
struct ExpectedValues {
  struct Value {
    int subset;
    int descriptor;
    bool missing;
    bool text;
    double number;
    std::string chars;
  };
  std::map<std::string, std::string> header;
  std::vector<Value> values;

  // Empty if the file can't be read.
  static ExpectedValues read(const std::string& path);
};

#endif  // ZEPH_TESTS_SUPPORT_EXPECTEDVALUES_H_
