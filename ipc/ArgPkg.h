#ifndef ZEPH_IPC_ARGPKG_H_
#define ZEPH_IPC_ARGPKG_H_

#include "Marshalling.h"

// The arguments of a message. A package holds its arguments by value and
// writes them in declared order with nothing between them: no count, no
// type tag. A receiver knows the package by the module and type of the
// message alone.
class ArgPkgABC {
 public:
  virtual char* serialize(char* pos) const = 0;
  virtual unsigned long length() const = 0;
  virtual ~ArgPkgABC() = default;
};

// The free functions of each argument type, reached from inside members
// of the same names. Unqualified, so that the overloads of IPC_Target,
// DataTime and the like are found where the package is instantiated.
namespace argpkg {
template <class T>
char* put(const T& value, char* pos) {
  return serialize(value, pos);
}
template <class T>
unsigned long size(const T& value) {
  return length(value);
}
template <class T>
char* get(T& value, char* pos, const char* end) {
  return quantize(value, pos, end);
}
}  // namespace argpkg

// quantize(pos, end) of each package reads its arguments back in the same
// order, never past `end`; it returns the position behind them.

class ArgPkg0 : public ArgPkgABC {
 public:
  char* serialize(char* pos) const override { return pos; }
  unsigned long length() const override { return 0; }
  char* quantize(char* pos, const char*) { return pos; }
};

template <class A1>
class ArgPkg1 : public ArgPkgABC {
 public:
  ArgPkg1() : arg1() {}
  explicit ArgPkg1(const A1& a1) : arg1(a1) {}
  char* serialize(char* pos) const override { return argpkg::put(arg1, pos); }
  unsigned long length() const override { return argpkg::size(arg1); }
  char* quantize(char* pos, const char* end) {
    return argpkg::get(arg1, pos, end);
  }

  A1 arg1;
};

template <class A1, class A2>
class ArgPkg2 : public ArgPkgABC {
 public:
  ArgPkg2() : arg1(), arg2() {}
  ArgPkg2(const A1& a1, const A2& a2) : arg1(a1), arg2(a2) {}
  char* serialize(char* pos) const override {
    return argpkg::put(arg2, argpkg::put(arg1, pos));
  }
  unsigned long length() const override {
    return argpkg::size(arg1) + argpkg::size(arg2);
  }
  char* quantize(char* pos, const char* end) {
    return argpkg::get(arg2, argpkg::get(arg1, pos, end), end);
  }

  A1 arg1;
  A2 arg2;
};

template <class A1, class A2, class A3>
class ArgPkg3 : public ArgPkgABC {
 public:
  ArgPkg3() : arg1(), arg2(), arg3() {}
  ArgPkg3(const A1& a1, const A2& a2, const A3& a3)
      : arg1(a1), arg2(a2), arg3(a3) {}
  char* serialize(char* pos) const override {
    return argpkg::put(arg3, argpkg::put(arg2, argpkg::put(arg1, pos)));
  }
  unsigned long length() const override {
    return argpkg::size(arg1) + argpkg::size(arg2) + argpkg::size(arg3);
  }
  char* quantize(char* pos, const char* end) {
    pos = argpkg::get(arg1, pos, end);
    pos = argpkg::get(arg2, pos, end);
    return argpkg::get(arg3, pos, end);
  }

  A1 arg1;
  A2 arg2;
  A3 arg3;
};

template <class A1, class A2, class A3, class A4>
class ArgPkg4 : public ArgPkgABC {
 public:
  ArgPkg4() : arg1(), arg2(), arg3(), arg4() {}
  ArgPkg4(const A1& a1, const A2& a2, const A3& a3, const A4& a4)
      : arg1(a1), arg2(a2), arg3(a3), arg4(a4) {}
  char* serialize(char* pos) const override {
    pos = argpkg::put(arg1, pos);
    pos = argpkg::put(arg2, pos);
    pos = argpkg::put(arg3, pos);
    return argpkg::put(arg4, pos);
  }
  unsigned long length() const override {
    return argpkg::size(arg1) + argpkg::size(arg2) + argpkg::size(arg3) +
           argpkg::size(arg4);
  }
  char* quantize(char* pos, const char* end) {
    pos = argpkg::get(arg1, pos, end);
    pos = argpkg::get(arg2, pos, end);
    pos = argpkg::get(arg3, pos, end);
    return argpkg::get(arg4, pos, end);
  }

  A1 arg1;
  A2 arg2;
  A3 arg3;
  A4 arg4;
};

#endif  // ZEPH_IPC_ARGPKG_H_
