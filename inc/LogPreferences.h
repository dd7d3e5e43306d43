#ifndef ZEPH_INC_LOGPREFERENCES_H_
#define ZEPH_INC_LOGPREFERENCES_H_

// Reads the log preference file into the state of the log stream; called
// once, at the first log gate. True if the preferences were read or there
// were none.
bool readLogPreferences();

#endif  // ZEPH_INC_LOGPREFERENCES_H_
