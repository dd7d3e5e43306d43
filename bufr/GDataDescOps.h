#ifndef ZEPH_BUFR_GDATADESCOPS_H_
#define ZEPH_BUFR_GDATADESCOPS_H_

class BufrDecoder;

// Carries out one data description operator on the coding values of the
// process's Table B, and remembers what to put back. The lists of what is
// changed are process-wide; the decoder forgets them, and puts the table
// back, at the start of each message, so that an operator left open at the
// end of one message can't change how the next one reads.
class GDataDescOps {
 public:
  GDataDescOps(int x, int y, BufrDecoder* decoder)
      : _x(x), _y(y), _decoder(decoder) {}

  int x() const { return _x; }
  int y() const { return _y; }

  bool changeDataWidth(int descriptor);
  bool resetDataWidth();
  bool changeDataScale(int descriptor);
  bool resetDataScale();
  bool changeDataReference(int descriptor);
  bool resetDataReference();
  bool skipAssociatedSignificance(int descriptor);
  bool textualInfo(int descriptor);
  bool signifyDataWidth(int descriptor);
  bool resetSignifyDataWidth(int descriptor);

  // Forgets every change without putting anything back (the table is put
  // back by StaticBufrInfo::restoreCodingValues).
  static void forgetSavedState();
  static int savedWidthCount();

 private:
  enum Coding { kScale = 0, kReference = 1, kWidth = 2 };
  bool change(int descriptor, Coding coding, const char* failure);
  bool reset(Coding coding, const char* failure);
  bool fetch(int descriptor, int values[3], const char* failure);

  int _x;
  int _y;
  BufrDecoder* _decoder;
};

#endif  // ZEPH_BUFR_GDATADESCOPS_H_
