#ifndef ZEPH_INC_CARTCOORD2D_H_
#define ZEPH_INC_CARTCOORD2D_H_

#include <ostream>

// A point of a plane: two coordinates, a value.
template <class T>
class CartCoord2D {
 public:
  CartCoord2D() : _x(), _y() {}
  CartCoord2D(T x, T y) : _x(x), _y(y) {}

  T x() const { return _x; }
  T y() const { return _y; }

  bool operator==(const CartCoord2D& other) const {
    return _x == other._x && _y == other._y;
  }
  bool operator!=(const CartCoord2D& other) const { return !(*this == other); }

 private:
  T _x;
  T _y;
};

template <class T>
std::ostream& operator<<(std::ostream& out, const CartCoord2D<T>& c) {
  return out << "(" << c.x() << "," << c.y() << ")";
}

#endif  // ZEPH_INC_CARTCOORD2D_H_
