#include "ExpectedValues.h"

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>

ExpectedValues ExpectedValues::read(const std::string& path) {
  ExpectedValues e;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    if (!std::isdigit(static_cast<unsigned char>(line[0]))) {
      std::string key, value;
      fields >> key >> value;
      e.header[key] = value;
      continue;
    }
    Value v{};
    std::string scale, rest;
    fields >> v.subset >> v.descriptor >> scale;
    std::getline(fields >> std::ws, rest);
    v.missing = rest == "MISSING";
    v.text = scale == "C";
    if (v.text && rest.size() >= 2)
      v.chars = rest.substr(1, rest.size() - 2);
    else if (!v.missing)
      v.number = std::strtod(rest.c_str(), nullptr);
    e.values.push_back(v);
  }
  return e;
}
