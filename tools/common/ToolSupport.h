#ifndef ZEPH_TOOLS_COMMON_TOOLSUPPORT_H_
#define ZEPH_TOOLS_COMMON_TOOLSUPPORT_H_

#include <string>

// What the command-line tools share.

// JSON text of arbitrary octets: control and non-ASCII octets are written
// as \u00XX, so that the output is plain ASCII whatever the data held.
std::string jsonText(const std::string& text);

// The log of a tool's own process: on the terminal only, and without
// prefix items, so that a line's category can be told from its start.
// `source` names the tool in the preference file's terms.
void setUpToolLog(const char* source);

#endif  // ZEPH_TOOLS_COMMON_TOOLSUPPORT_H_
