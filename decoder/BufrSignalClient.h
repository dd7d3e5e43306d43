#ifndef ZEPH_DECODER_BUFRSIGNALCLIENT_H_
#define ZEPH_DECODER_BUFRSIGNALCLIENT_H_

#include "SignalClient.h"
#include "TextString.h"

// Knows the file that a product decoder is working on, so that a fatal
// signal during its decoding can move it to the product's bad directory
// before the process ends: a file that kills the decoder must not kill its
// successor too. One object a process.
//
// The decoders tell it their directories and each file; the driver gives
// it to the signal catcher before the first file.
class BufrSignalClient : public SignalClient {
 public:
  static BufrSignalClient& instance();

  // A dirty shutdown first moves the file in work to the bad directory,
  // once in the life of the process; then the process ends as any other.
  void shutdown(bool clean, int signal) override;

  void setDirectories(const TextString& dataDirectory,
                      const TextString& badDirectory);
  void setCurrentFile(const TextString& name);

  TextString dataDirectory() const { return _dataDirectory; }
  TextString badDirectory() const { return _badDirectory; }
  TextString currentFile() const { return _currentFile; }

 private:
  BufrSignalClient() = default;
  BufrSignalClient(const BufrSignalClient&) = delete;
  BufrSignalClient& operator=(const BufrSignalClient&) = delete;

  TextString _dataDirectory;
  TextString _currentFile;
  TextString _badDirectory;
};

#endif  // ZEPH_DECODER_BUFRSIGNALCLIENT_H_
