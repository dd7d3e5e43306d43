#ifndef ZEPH_ROUTING_REGEXPPROGRAM_H_
#define ZEPH_ROUTING_REGEXPPROGRAM_H_

// The private matcher behind product keys. Clients ask for products by
// expressions of a small dialect of their own:
//
//   pattern    branch { "|" branch }        a match of any branch matches
//   branch     { piece }                    may be empty
//   piece      atom [ "*" | "+" | "?" ]     greedy, at most one sign
//   atom       "."  any character           "^"  the start of the key
//              "$"  the end of the key      "[" list "]", "[^" list "]"
//              "(" pattern ")"              "\" c  the character c
//              any other character: itself
//
// A list holds characters and ranges a-z; "]" first (behind a "^") and "-"
// first or last are plain characters, and "\" is a backslash there.
// Comparison is by byte.
//
// A compiled expression is one block from malloc, released by free; its
// first byte is the magic value 156. Inside lies a program for a machine
// that follows every way through the expression at once, so that a match
// costs at most the key's length times the program's size, whatever the
// expression: a client's pattern can't stall the router.
//
// Errors of compiling and matching are written to standard error as
// "regexp(3): " and their text, without a line end, as the dialect's users
// expect them.

struct ZephRegexp;  // opaque: a block from malloc

// The program of `pattern`, or null after the error was written.
ZephRegexp* compileRegexp(const char* pattern);

// Whether `expression` finds a match anywhere in `subject`. A null
// argument or a damaged program is written as an error and answers false.
bool executeRegexp(const ZephRegexp* expression, const char* subject);

#endif  // ZEPH_ROUTING_REGEXPPROGRAM_H_
