#ifndef ZEPH_INC_CARTDOMAIN2D_H_
#define ZEPH_INC_CARTDOMAIN2D_H_

#include <ostream>

#include "CartCoord2D.h"
#include "LogStream.h"

// A rectangle of a plane by its lower-left and upper-right corners, a
// value. A rectangle without extent in either direction is the null
// domain, which is also what a default one is.
template <class T>
class CartDomain2D {
 public:
  CartDomain2D() {}
  // Corners that give a negative extent are logged, and the domain is null.
  CartDomain2D(const CartCoord2D<T>& lowerLeft, const CartCoord2D<T>& upperRight)
      : _lowerLeft(lowerLeft), _upperRight(upperRight) {
    if (upperRight.x() < lowerLeft.x() || upperRight.y() < lowerLeft.y()) {
      ZLOG_AT(LogStream::BUG, "inc/CartDomain2D")
          << "negative extent in CartDomain constructor" << std::endl;
      _lowerLeft = _upperRight = CartCoord2D<T>();
    }
  }

  const CartCoord2D<T>& lowerLeft() const { return _lowerLeft; }
  const CartCoord2D<T>& upperRight() const { return _upperRight; }
  T width() const { return _upperRight.x() - _lowerLeft.x(); }
  T height() const { return _upperRight.y() - _lowerLeft.y(); }
  bool isNull() const { return !(width() > T()) || !(height() > T()); }

  bool operator==(const CartDomain2D& other) const {
    return _lowerLeft == other._lowerLeft && _upperRight == other._upperRight;
  }
  bool operator!=(const CartDomain2D& other) const { return !(*this == other); }

 private:
  CartCoord2D<T> _lowerLeft;
  CartCoord2D<T> _upperRight;
};

template <class T>
std::ostream& operator<<(std::ostream& out, const CartDomain2D<T>& d) {
  if (d.isNull()) return out << "[Null Domain]";
  return out << "[" << d.lowerLeft() << "," << d.upperRight() << "]";
}

#endif  // ZEPH_INC_CARTDOMAIN2D_H_
