#ifndef ZEPH_TESTS_PRODUCTS_PRODUCTSITE_H_
#define ZEPH_TESTS_PRODUCTS_PRODUCTSITE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

class NetcdfPointData;

#include "AbsTime.h"
#include "ProductTraits.h"
#include "SeqOfPtr.h"
#include "TestSupport.h"

// A site under a temporary root, as a decoder process finds one: ZEPH_HOME
// with the sample site's tables, ZEPH_DATA with a product's input and bad
// directories and its point directories made from the sample templates.
// Each test starts the process-wide readers afresh: the search paths, the
// pattern cache and the notifications kept so far.
class ProductSiteTest : public ::testing::Test {
 public:
  // The names in a directory, sorted.
  static std::vector<std::string> names(const std::string& directory);

 protected:
  void SetUp() override;

  // The input and bad directories of the product, and a point directory
  // below ZEPH_DATA with the template of that name.
  void makeProductDirectories(const ProductTraits& traits);
  void makePointDirectory(const std::string& relative,
                          const std::string& templateName);

  std::string input() const { return _input; }
  std::string bad() const { return _bad; }
  std::string data(const std::string& relative) const {
    return root.file("data" + relative);
  }
  void put(const std::string& name, const std::string& bytes);

  TempDir root;

 private:
  std::string _input;
  std::string _bad;
};

std::string readBinary(const std::string& path);

// The one record of an id and time in a point directory, found through the
// store's index as a reader finds it; its handle is given back when the
// object goes.
class StoredRecord {
 public:
  StoredRecord(const std::string& directory, const std::string& id,
               const AbsTime& time);
  ~StoredRecord();
  StoredRecord(const StoredRecord&) = delete;
  StoredRecord& operator=(const StoredRecord&) = delete;

  // Exactly one file and one record in it.
  bool found() const { return _record >= 0; }
  // `count` values of a variable from the start of the record.
  std::vector<float> floats(const char* name, size_t count) const;
  // The record's value of a variable as a double (NaN without the
  // variable), and the row of a char variable up to its first NUL.
  double number(const char* name) const;
  std::string text(const char* name) const;

 private:
  NetcdfPointData* _reader = nullptr;
  SeqOfPtr<int*> _handles;
  long _record = -1;
};

#endif  // ZEPH_TESTS_PRODUCTS_PRODUCTSITE_H_
