#include "DumpPrinter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "BufrDecoder.h"
#include "StaticBufrInfo.h"
#include "TableBEntry.h"
#include "ToolSupport.h"

namespace {

// Long Table B names would push every unit far to the right.
const size_t kNameColumnLimit = 56;


std::string descriptorText(int descriptor) {
  char text[16];
  std::snprintf(text, sizeof text, "%d %02d %03d", descriptor / 100000,
                (descriptor / 1000) % 100, descriptor % 1000);
  return text;
}

// What the table shows in the value column.
std::string shownValue(const BufrValues& v) {
  if (v.value() == BufrValues::kCharacter)
    return "'" + std::string(v.text().chars()) + "'";
  if (v.value() == BufrValues::kMissing) return "missing";
  if (v.value() == BufrValues::kNotInTableB) return "not in table B";
  return floatText(v.value());
}

}  // namespace

std::string floatText(float value) {
  char text[64];
  if (std::isfinite(value) && value == std::trunc(value) &&
      std::fabs(value) < 1e16f) {
    std::snprintf(text, sizeof text, "%.0f", value);
    return text;
  }
  for (int digits = 1; digits <= 9; ++digits) {
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    if (std::strtof(text, nullptr) == value) break;
  }
  return text;
}

void DumpPrinter::decoded(const std::string& file, const BufrDecoder& decoder) {
  ++_decoded;
  if (_json) {
    std::printf(
        "{\"file\": %s, \"ok\": true, \"obTime\": \"%s\", \"dataCategory\": "
        "%d, \"subsets\": %d, \"compressed\": %s}\n",
        jsonText(file).c_str(),
        decoder.obTime().format("%Y-%m-%dT%H:%M:%SZ").chars(),
        decoder.dataCategory(), decoder.subsets(),
        decoder.compressed() ? "true" : "false");
    jsonOf(decoder);
    return;
  }
  std::printf("%s: decoded\n", file.c_str());
  std::printf("  observation time %s, data category %d, %d subset%s, %s\n",
              decoder.obTime().format("%Y-%m-%d %H:%M:%S GMT").chars(),
              decoder.dataCategory(), decoder.subsets(),
              decoder.subsets() == 1 ? "" : "s",
              decoder.compressed() ? "compressed" : "standard");
  tableOf(decoder);
}

void DumpPrinter::failed(const std::string& file,
                         const std::vector<std::string>& reasons) {
  ++_failed;
  if (_json) {
    // What a failed message would have given is unknown, not zero.
    std::printf(
        "{\"file\": %s, \"ok\": false, \"obTime\": null, \"dataCategory\": "
        "null, \"subsets\": null, \"compressed\": null, \"error\": [",
        jsonText(file).c_str());
    for (size_t i = 0; i < reasons.size(); ++i)
      std::printf("%s%s", i ? ", " : "", jsonText(reasons[i]).c_str());
    std::printf("]}\n");
    return;
  }
  std::printf("%s: FAILED\n", file.c_str());
  for (const std::string& reason : reasons)
    std::printf("  %s\n", reason.c_str());
}

void DumpPrinter::summary() const {
  int files = _decoded + _failed;
  if (_json) {
    std::printf("{\"files\": %d, \"decoded\": %d, \"failed\": %d}\n", files,
                _decoded, _failed);
  } else {
    std::printf("%d file%s: %d decoded, %d failed\n", files,
                files == 1 ? "" : "s", _decoded, _failed);
  }
  std::fflush(stdout);
}

void DumpPrinter::tableOf(const BufrDecoder& decoder) const {
  const SeqOf<BufrValues>& values = decoder.decodedValues();
  std::vector<TableBEntry> entries(values.length());
  size_t nameWidth = 4;
  for (int i = 0; i < values.length(); ++i) {
    StaticBufrInfo::instance().tableBEntry(values.at(i).descriptor(),
                                           entries[i]);
    nameWidth = std::max<size_t>(nameWidth, entries[i].description().length());
  }
  int width = static_cast<int>(std::min(nameWidth, kNameColumnLimit));
  std::printf("  %6s %6s %-10s %3s %16s  %-*s  %s\n", "index", "subset",
              "descriptor", "rep", "value", width, "name", "unit");
  for (int i = 0; i < values.length(); ++i) {
    const BufrValues& v = values.at(i);
    std::printf("  %6d %6d %-10s %3d %16s  %-*s  %s\n", i, v.subset(),
                descriptorText(v.descriptor()).c_str(), v.repetition(),
                shownValue(v).c_str(), width, entries[i].description().chars(),
                entries[i].units().chars());
  }
}

void DumpPrinter::jsonOf(const BufrDecoder& decoder) const {
  const SeqOf<BufrValues>& values = decoder.decodedValues();
  for (int i = 0; i < values.length(); ++i) {
    const BufrValues& v = values.at(i);
    // JSON has no word for infinity.
    std::string number =
        std::isfinite(v.value()) ? floatText(v.value()) : "null";
    std::printf(
        "{\"subset\": %d, \"descriptor\": %d, \"value\": %s, "
        "\"repetition\": %d, \"text\": %s}\n",
        v.subset(), v.descriptor(), number.c_str(), v.repetition(),
        jsonText(v.text().chars()).c_str());
  }
}
