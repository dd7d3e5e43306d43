#ifndef ZEPH_BUFR_GDATADESCOPS_H_
#define ZEPH_BUFR_GDATADESCOPS_H_

class BufrDecoder;

// Carries out one data description operator on the coding values of the
// process's Table B, and remembers what to put back. The lists of what is
// changed are process-wide and outlive a message: an operator left open at
// the end of a message still holds in the next, for every decoder.
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

  // Forgets every change without putting anything back; lets a test or a
  // tool start from the tables as read.
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
