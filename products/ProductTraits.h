#ifndef ZEPH_PRODUCTS_PRODUCTTRAITS_H_
#define ZEPH_PRODUCTS_PRODUCTTRAITS_H_

// What sets one product decoder apart from the others in the frame they
// share: one row of the product table and of its message table. The rows
// are data, so that a product's frame differs from another's only here.
struct ProductTraits {
  enum Listing { kAll, kSortedExpression, kUnsortedExpression };

  const char* patternFile;
  const char* dataDirectory;  // below $ZEPH_DATA
  const char* badDirectory;   // below $ZEPH_DATA
  Listing listing;
  const char* listExpression;  // basic syntax, matched anywhere in a name
  int registrationPeriod;      // tenths of a second
  const char* productName;
  unsigned long key;  // of the notification, where one key serves the product

  // The message table.
  const char* statRow;
  const char* storedRow;
  const char* failedRow;
  const char* readDataWord;  // behind "Getting " and the source word; or null
  const char* notThisProduct;

  bool logsInputName;  // " Input File Name :" before the entry line
  bool logsDirectory;  // the debug line of the directory
  bool patternsOnce;   // once for the run of files, without its log line
  bool pauses;         // between files
};

extern const ProductTraits kModelTraits;
extern const ProductTraits kPoesTraits;
extern const ProductTraits kGoesTraits;
extern const ProductTraits kAcarsTraits;
extern const ProductTraits kHdwTraits;
extern const ProductTraits kProfilerTraits;
extern const ProductTraits kQuikScatTraits;

#endif  // ZEPH_PRODUCTS_PRODUCTTRAITS_H_
