#include "LogPreferences.h"

// The preference language isn't read yet: every process runs on the
// defaults of the log stream, which is what a process without a preference
// file gets.
bool readLogPreferences() { return true; }
