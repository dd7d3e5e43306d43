// Operators met while Section 4 is read: they change how the elements that
// follow them in the list are read, through the shared coding values.
#include "BufrDecoder.h"
#include "GDataDescOps.h"
#include "LogStream.h"
#include "StaticBufrInfo.h"

// A message that ends with a change of width, scale or reference still in
// force (or with 2 06 waiting for its element) would otherwise change how
// every later message of every decoder of the process reads. Each message
// starts from the tables as read; for messages whose operators are closed
// this changes nothing.
void BufrDecoder::closeOpenOperators() {
  int restored = StaticBufrInfo::instance().restoreCodingValues();
  GDataDescOps::forgetSavedState();
  _signifyPending = false;
  if (restored > 0) {
    ZLOG(LogStream::VERBOSE) << "Coding values of " << restored
                             << " descriptors set back to Table B for a new "
                                "message"
                             << std::endl;
  }
}

bool BufrDecoder::decodeSection2Desc(int x, int y, SeqOf<int>& list,
                                     int& index) {
  ZLOG(LogStream::DEBUG) << "BufrDecoder::decodeSection2Desc(), descListPtr = "
                         << index << std::endl;
  GDataDescOps op(x, y, this);
  const SeqOf<int>& items = list;
  if (_signifyPending) {
    // The step behind the element that 2 06 widened; x and y mean nothing.
    if (!op.resetSignifyDataWidth(items.at(index))) return false;
    _signifyPending = false;
    return true;
  }
  // Changes of width, scale and reference reach every element up to the
  // operator of the same kind that closes them, or to the end of the list.
  auto walk = [&](bool (GDataDescOps::*change)(int)) -> int {
    int k = index + 1;
    for (; k < items.length(); ++k) {
      int kx, ky;
      int d = items.at(k);
      if (splitDescriptor(d, kx, ky) != 2) {
        if (!(op.*change)(d)) return -1;
        if (_overrun) return -1;
      } else if (kx == x) {
        break;
      }
    }
    return spendWork(k - index) ? k : -1;
  };
  switch (x) {
    case 1:
      if (y == 0) return op.resetDataWidth();
      return walk(&GDataDescOps::changeDataWidth) >= 0;
    case 2:
      if (y == 0) return op.resetDataScale();
      return walk(&GDataDescOps::changeDataScale) >= 0;
    case 3: {
      if (y == 0) return op.resetDataReference();
      int closing = walk(&GDataDescOps::changeDataReference);
      if (closing < 0) return false;
      // 2 03 255 ends the definition: the elements between were read as
      // references, not as values.
      if (closing < items.length() && items.at(closing) % 1000 == 255)
        index = closing;
      return true;
    }
    case 4:
      if (y == 0) {
        _assocActive = false;
        _assocBits = 0;
        return true;
      }
      ZLOG(LogStream::VERBOSE) << "Adding data association of descriptor "
                               << 0 << std::endl;
      _assocActive = true;
      _assocBits = y;
      if (index + 1 < items.length() && items.at(index + 1) == 31021) {
        if (!op.skipAssociatedSignificance(31021)) return false;
        ++index;
      }
      return true;
    case 5:
      ZLOG(LogStream::VERBOSE)
          << "Getting the character information associated with descriptor "
          << 200000 + x * 1000 + y << std::endl;
      op.textualInfo(200000 + x * 1000 + y);
      moveOctets(y);
      return true;
    case 6:
      if (index + 1 >= items.length()) return true;  // nothing to widen
      if (!op.signifyDataWidth(items.at(index + 1))) return false;
      _signifyPending = true;
      return true;
    default:
      ZLOG(LogStream::DEBUG) << "Got a descriptor code x = " << x << std::endl;
      return true;
  }
}
