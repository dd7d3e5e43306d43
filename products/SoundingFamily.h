#ifndef ZEPH_PRODUCTS_SOUNDINGFAMILY_H_
#define ZEPH_PRODUCTS_SOUNDINGFAMILY_H_

// What sets the POES soundings apart from the GOES ones: the files of the
// site, the layout of an observation in the message, the profiles and the
// words of their log lines. The two decoders are one design; they differ
// only in this row.
struct SoundingFamily {
  static constexpr int kMaxProfiles = 4;

  // A log line about a position: head, latitude, ", ", longitude, tail.
  struct PositionLine {
    const char* head;
    const char* tail;
  };

  const char* word;  // "POES" or "GOES", in the set-up's lines
  const char* siteFile;
  const char* gridFile;
  const char* profileTable;    // below $ZEPH_HOME
  const char* pointDirectory;  // below $ZEPH_DATA

  int latitudeDescriptor;  // the longitude is the value behind it
  int timeOffset;          // values from the year (0 04 001) to the latitude
  bool dayOfYear;  // year, day of the year, ... hour at +4; else Y M D h m s
  bool futurePutBack;  // a time ahead of the clock goes back one day
  int levelDescriptor;
  int levelCountStart;  // the count of a subset with no level descriptor

  int profiles;
  const char* profileNames[kMaxProfiles];
  const char* workArrayNames[kMaxProfiles];  // pieces of the levels' line
  bool filtered[kMaxProfiles];
  // The level filter drops a value of a filtered profile when the value
  // before it has one of these descriptors (0: none), or, where
  // filterBehind, the value behind it has the first of them.
  int filterDescriptors[2];
  bool filterBehind;
  bool sortedByPressure;  // highest first

  // Log lines.
  const char* profileCountSource;  // "PBD" or "GBD"
  const char* missingPosition;
  PositionLine notLocal;
  PositionLine noLevels;
  PositionLine gatherFailed;
  const char* storing;      // "Storing data for site location "
  const char* noHandleEnd;  // behind the time of "No handle for "
};

extern const SoundingFamily kPoesFamily;
extern const SoundingFamily kGoesFamily;

#endif  // ZEPH_PRODUCTS_SOUNDINGFAMILY_H_
