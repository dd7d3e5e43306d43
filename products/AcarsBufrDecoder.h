#ifndef ZEPH_PRODUCTS_ACARSBUFRDECODER_H_
#define ZEPH_PRODUCTS_ACARSBUFRDECODER_H_

#include "AbsTime.h"
#include "Dict.h"
#include "ProductDecoder.h"
#include "SeqOf.h"
#include "TextString.h"

class NetcdfPointData;

// ACARS aircraft reports: a file holds many reports, a subset each, and
// each report becomes one record of the ACARS point files, found again by
// the aircraft's registration (0 01 008) and the report's time. No profile
// and no site table; the work lies in the time rules, in which texts are
// written (the flight number and the ground station only) and in relative
// humidity, whose 0.0 means that the aircraft measured none.
//
// Without its template the decoder leaves every file where it is, for a
// run after the template has come back.
class AcarsBufrDecoder : public ProductDecoder {
 public:
  AcarsBufrDecoder();
  ~AcarsBufrDecoder() override;

  int write2NetcdfFile() override;
  // The name holds one of the pattern file's data format codes anywhere.
  bool validBufrFile(const TextString& name) override;

  // The notification of one report; the slot of the frame stays unused.
  using ProductDecoder::sendNotification;
  bool sendNotification(const AbsTime& time);

 protected:
  bool readyToProcess() override;

 private:
  SeqOf<AbsTime> makeTimeList();
  int* reportHandle(const TextString& id, const AbsTime& time, long& record);
  void putMessageTime(int ncid, long record);
  bool storeValue(int index, int ncid, long record);
  bool putValue(int ncid, const TextString& name, long record,
                const BufrValues& value, float number);

  NetcdfPointData* _pointData;
  Dict<TextString, TextString> _currentDict;
  TextString _stationId;
};

#endif  // ZEPH_PRODUCTS_ACARSBUFRDECODER_H_
