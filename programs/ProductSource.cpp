// Feeds the files of a directory to the comms router as products, so that
// the system can be driven from files on disk.
//
//   productSource [-r ROUTER] [-t TAG] [-k] [-w SECONDS] DIRECTORY
//
// Each regular file, in the order of the names, goes as one product: an
// LDM message, whose key the router finds in the bytes, or with -k a DS
// message whose key is the file's name up to its first "_" or ".". Tags
// count up from TAG (1). ROUTER is a named target or host/port/id
// (COMMS_ROUTER). Without -w the program ends after one pass and leaves
// the files; with -w it reads the directory again every SECONDS and
// removes each file once it went out, so that nothing is sent twice.
// Names that begin with "." are passed over: a feed writes a file under
// such a name and renames it when it is whole.
// Exit status: 0 when every file went out, 1 when any didn't, 64 on a bad
// option.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CommsMessages.h"
#include "Directory.h"
#include "LogStream.h"
#include "SocketConnection.h"

namespace {

struct Options {
  TextString router = "COMMS_ROUTER";
  long tag = 1;
  bool keyFromName = false;
  int waitSeconds = 0;
  TextString directory;
};

bool parse(int argc, char** argv, Options& options) {
  int c;
  while ((c = getopt(argc, argv, "r:t:kw:")) != -1) {
    if (c == 'r') options.router = optarg;
    else if (c == 't') options.tag = std::strtol(optarg, nullptr, 10);
    else if (c == 'k') options.keyFromName = true;
    else if (c == 'w') options.waitSeconds = std::atoi(optarg);
    else return false;
  }
  if (optind + 1 != argc || options.waitSeconds < 0) return false;
  options.directory = argv[optind];
  return true;
}

// The bytes of a regular file that a message can carry, or false after a
// line.
bool readProduct(const TextString& path, const struct stat& info,
                 std::vector<unsigned char>& bytes) {
  if (info.st_size > kLargestProduct) {
    ZLOG(LogStream::PROBLEM) << path << " is too large to send: "
                             << static_cast<long>(info.st_size) << " bytes"
                             << std::endl;
    return false;
  }
  FILE* file = std::fopen(path.chars(), "rb");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Can't open " << path << std::endl;
    return false;
  }
  bytes.resize(static_cast<size_t>(info.st_size));
  size_t got = std::fread(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
  bytes.resize(got);
  return true;
}

TextString keyOfName(const TextString& name) {
  size_t n = std::strcspn(name.chars(), "_.");
  return name.left(static_cast<unsigned>(n));
}

// One pass over the directory: true when every product went out.
bool sendDirectory(const Options& options, const IPC_Target& router,
                   long& tag) {
  Directory dir;
  dir.directory = options.directory;
  dir.sorted = true;
  dir.scan();
  bool allSent = true;
  for (int i = 0; i < dir.length(); ++i) {
    TextString path = options.directory + "/" + dir[i];
    std::vector<unsigned char> bytes;
    struct stat info;
    if (stat(path.chars(), &info) != 0 || !S_ISREG(info.st_mode)) continue;
    if (!readProduct(path, info, bytes)) {
      allSent = false;
      continue;
    }
    long length = static_cast<long>(bytes.size());
    CommsMessage* message =
        options.keyFromName
            ? newDsMsg(keyOfName(dir[i]), tag, length, bytes.data(), kDsMsg, 1)
            : newLdmMsg(tag, SeqOf<unsigned char>(static_cast<int>(length),
                                                  bytes.data()),
                        1);
    bool sent = message->send(router) == 0;
    delete message;
    if (!sent) {
      allSent = false;
      continue;
    }
    ZLOG(LogStream::EVENT) << "Sent " << dir[i] << " tag " << tag << ", "
                           << length << " bytes" << std::endl;
    ++tag;
    if (options.waitSeconds > 0) unlink(path.chars());
  }
  return allSent;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parse(argc, argv, options)) {
    std::fprintf(stderr,
                 "usage: productSource [-r ROUTER] [-t TAG] [-k] "
                 "[-w SECONDS] DIRECTORY\n");
    return 64;
  }
  SocketConnection::start();
  IPC_Target router(options.router, true);
  if (router.isNull()) return 1;
  long tag = options.tag;
  bool allSent = sendDirectory(options, router, tag);
  while (options.waitSeconds > 0) {
    sleep(static_cast<unsigned>(options.waitSeconds));
    sendDirectory(options, router, tag);
  }
  return allSent ? 0 : 1;
}
