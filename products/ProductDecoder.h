#ifndef ZEPH_PRODUCTS_PRODUCTDECODER_H_
#define ZEPH_PRODUCTS_PRODUCTDECODER_H_

#include "AbsTime.h"
#include "BufrDecoder.h"
#include "DataTime.h"
#include "Dict.h"
#include "LogStream.h"
#include "ProductTraits.h"
#include "SeqOf.h"
#include "TextString.h"

// The frame that the seven product decoders share: the road of a file from
// the product's input directory to point records and a notification, or to
// the bad directory. The input directory is the queue: a notification only
// means that it should be read, and every file in it is handled once and
// then deleted or moved, so what remains is what hasn't been handled yet.
//
// A product differs from the others by its row of ProductTraits and by
// what it overrides here: its store (write2NetcdfFile), its notification,
// and where its Part says so the check of a file's name.
class ProductDecoder : public BufrDecoder {
 public:
  explicit ProductDecoder(const ProductTraits& traits);
  ~ProductDecoder() override;

  int registrationPeriod() override { return _registrationPeriod; }
  TextString patternFileName() override;
  TextString productName() override { return _productName; }
  void processBufrDirectory() override;
  bool sendNotification() override;

  TextString dataDirectory() const { return _dataDirectory; }
  TextString badDirectory() const { return _badDirectory; }

  bool deleteDataFile(const TextString& path);
  bool moveToBadDirectory(const char* reason, const TextString& path);
  virtual bool validBufrFile(const TextString& name);
  bool readBufrFile(int index, int count, const TextString& directory,
                    const TextString& name);
  void pauseBetweenFiles(long microseconds);

 protected:
  // The name of the product table: a product calls this when its set-up
  // has come as far as its Part says. The period stands from the start: a
  // decoder whose set-up stopped still answers its product's period, so
  // that it can't make the process's wait between registrations shorter.
  void completeSetUp();
  // What stands between the name check and the designator's expression:
  // the model and profiler decoders read their source word from the
  // designator here. false refuses the file, after logging why.
  virtual bool takeDesignator(const TextString& designator);
  // The word of the file now in work ("ETA", "NPN", ...), where the
  // product has one; it is part of a log line.
  virtual TextString sourceWord() const { return TextString(); }
  // false leaves every file where it is (the ACARS decoder without its
  // template).
  virtual bool readyToProcess() { return true; }
  // Steps from the stat of a file to its fate.
  void processFile(const TextString& directory, const TextString& name,
                   int index, int count);
  // Runs processBufrDirectory() at the end of a set-up that read its
  // tables: what lay in the directory before the process started.
  void processLeftOverFiles() { processBufrDirectory(); }
  // Writes one decoded value at the start of a record, (record, 0, 0), by
  // the type of the variable: an int truncated, a float, a double, or the
  // value's text as a row of a char variable; a type that no product
  // writes is passed over. false, after logging the library's error.
  static bool insertDecodedValues(int ncid, const TextString& name,
                                  long record, const BufrValues& value);
  // One notification for each distinct minute of `times` that was stored.
  void notifyTimes(const SeqOf<AbsTime>& times, const SeqOf<bool>& stored);
  // insertDecodedValues with the log line of the outcome.
  static void storeSingle(const TextString& name, int ncid, long record,
                          const BufrValues& value);
  // The variable that `dict` gives the value's descriptor, after the debug
  // lines of the value; false where it gives none.
  static bool variableOfValue(const BufrValues& value,
                              const Dict<TextString, TextString>& dict,
                              TextString& name);
  // The line of a value that no variable of `dict` takes; `what` names
  // the observation.
  template <class What>
  static void logUnmapped(const BufrValues& value,
                          const Dict<TextString, TextString>& dict,
                          const What& what) {
    TextString name;
    bool named = ncVarNameForDescriptor(value.descriptor(), name, dict);
    ZLOG(LogStream::VERBOSE)
        << "Unable to map netcdf file to descriptor " << value.descriptor()
        << "(" << (named ? name : TextString("\"\"")) << ")"
        << ", decoded value=[" << value.value() << "] for " << what
        << " is undefined in the cdl." << std::endl;
  }

  const ProductTraits& _traits;
  TextString _dataDirectory;
  TextString _badDirectory;
  DataTime _dataTime;
  Dict<TextString, TextString> _tblBDict;
  TextString _lastFile;
  TextString _productName;
  int _registrationPeriod;
};

#endif  // ZEPH_PRODUCTS_PRODUCTDECODER_H_
