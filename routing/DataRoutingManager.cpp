#include "DataRoutingManager.h"

#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ArgPkg.h"
#include "ChildProcessSet.h"
#include "LogStream.h"
#include "ParameterizedMsg.h"
#include "getCommsData.h"

namespace {

// The children file: a line holds at most this many characters, and its
// words at most these.
const int kLongestLine = 511;
const size_t kLongestProgram = 255;
const size_t kLongestFlag = 15;
const size_t kLongestArgument = 255;

// Reads one line into `line`; false at the end of the file. A line longer
// than kLongestLine is read to its end and comes back empty, after a
// PROBLEM line, so that its tail isn't taken for a line of its own.
bool readLine(std::FILE* file, const TextString& name, char* line) {
  if (std::fgets(line, kLongestLine + 2, file) == nullptr) return false;
  size_t length = std::strlen(line);
  if (length > 0 && line[length - 1] == '\n') {
    line[length - 1] = '\0';
    return true;
  }
  if (std::feof(file)) return true;
  int c;
  while ((c = std::fgetc(file)) != EOF && c != '\n') {
  }
  ZLOG(LogStream::PROBLEM) << "Line longer than " << kLongestLine
                           << " characters in " << name << " skipped"
                           << std::endl;
  line[0] = '\0';
  return true;
}

}  // namespace

SeqOfPtr<DataRoutingEntry*>& DataRoutingManager::routingTable() {
  static SeqOfPtr<DataRoutingEntry*>* table = new SeqOfPtr<DataRoutingEntry*>;
  return *table;
}

DataRoutingManager::DataRoutingManager(const TextString& routerName,
                                       const TextString& configFileName)
    : routerName(routerName),
      configFileName(configFileName),
      childSet(&ChildProcessSet::instance()) {
  ZLOG(LogStream::DEBUG) << "Router name = " << routerName << std::endl;
  ZLOG(LogStream::DEBUG) << "Config file name = " << configFileName
                         << std::endl;
  routingTable();
  DataCaptReceiver::instance().setController(this);
}

DataRoutingManager::~DataRoutingManager() {
  DataCaptReceiver::instance().setController(nullptr);
}

int DataRoutingManager::startChildren() {
  std::FILE* file = std::fopen(configFileName.chars(), "r");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Can't open " << configFileName << std::endl;
    return 0;
  }
  const char* home = std::getenv("ZEPH_HOME");
  TextString prefix = TextString(home != nullptr ? home : "") + "/bin/";
  char line[kLongestLine + 2];
  int started = 0;
  while (readLine(file, configFileName, line)) {
    char program[kLongestLine + 1] = "";
    if (std::sscanf(line, "%s", program) != 1 || program[0] == '#') continue;
    if (std::strcmp(program, "eof") == 0) break;
    if (startChild(prefix, line)) ++started;
  }
  std::fclose(file);
  return started;
}

// One line of the children file: program, restart flag, and an optional
// argument. Blank lines and lines of comment (a first word that begins
// with '#') were passed over before.
bool DataRoutingManager::startChild(const TextString& prefix,
                                    const char* line) {
  char program[kLongestLine + 1] = "", flag[kLongestLine + 1] = "",
       argument[kLongestLine + 1] = "";
  int words = std::sscanf(line, "%s %s %s", program, flag, argument);
  ZLOG(LogStream::DEBUG) << "exe name = " << program
                         << "   restartFlag = " << flag << std::endl;
  if (std::strlen(program) > kLongestProgram ||
      std::strlen(flag) > kLongestFlag ||
      std::strlen(argument) > kLongestArgument) {
    ZLOG(LogStream::PROBLEM) << "Word too long in " << configFileName
                             << ": child " << program << " not started"
                             << std::endl;
    return false;
  }
  TextString path = prefix + program;
  ZLOG(LogStream::DEBUG) << "exeFilePath " << path << std::endl;
  SeqOf<TextString> args;
  if (words >= 3) {
    ZLOG(LogStream::DEBUG) << "Program arg = " << argument << std::endl;
    args.append(argument);
  } else {
    ZLOG(LogStream::DEBUG) << "No user args specified" << std::endl;
  }
  ChildProcess* child =
      childSet->add(path, args.length(), args, this, nullptr, 0);
  if (child == nullptr) return false;
  child->restart = std::strcmp(flag, "true") == 0;
  return true;
}

void DataRoutingManager::stopChildren() {
  int count = childSet->count();
  for (int i = 0; i < count; ++i) {
    ChildProcess* child = childSet->childAt(0);
    if (child == nullptr) break;
    child->restart = false;
    ZLOG(LogStream::DEBUG) << "Stopping child " << i << std::endl;
    childSet->remove(child, false);
    // A whole second, though the end of the child cuts a plain sleep short.
    struct timespec left = {1, 0};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
  }
}

void DataRoutingManager::registerClient(const IPC_Target& target,
                                        const TextString& pattern) {
  SeqOfPtr<DataRoutingEntry*>& table = routingTable();
  for (int i = 0; i < table.length(); ++i) {
    DataRoutingEntry* entry = table[i];
    if (*entry == target) {
      ZLOG(LogStream::VERBOSE) << "registerClient: rebuilding regExpStruct"
                               << std::endl;
      entry->setPattern(pattern);
      return;
    }
    if (entry->isVacant() && entry->pattern() == pattern) {
      ZLOG(LogStream::EVENT) << "registerClient: resetting new target "
                             << target << " in previous routing entry"
                             << std::endl;
      entry->setTarget(target);
      return;
    }
  }
  ZLOG(LogStream::VERBOSE) << "registerClient: adding client to routing table"
                           << std::endl;
  table.append(new DataRoutingEntry(target, pattern));
}

TextString DataRoutingManager::compositePattern() {
  TextString composite;
  SeqOfPtr<DataRoutingEntry*>& table = routingTable();
  for (int i = 0; i < table.length(); ++i) {
    const TextString& pattern = table[i]->pattern();
    unsigned at = 0;
    if (composite.search(pattern, at)) continue;
    if (!composite.isEmpty()) composite += "|";
    composite += pattern;
  }
  ZLOG(LogStream::DEBUG) << "CompositPattern = " << composite << std::endl;
  return composite;
}

void DataRoutingManager::requestCommsData(const TextString& compositeText) {
  getCommsData(compositeText, routerName, dataArrived);
}

void DataRoutingManager::sendProduct(const IPC_Target& target, long tag,
                                     long length, const char* data) {
  SeqOf<char> bytes(static_cast<int>(length), data);
  DataCaptMessage product(DataCaptReceiver::PRODUCT,
                          new ArgPkg2<long, SeqOf<char>>(tag, bytes));
  product.send(target);
}

void DataRoutingManager::dataArrived(TextString* key, long tag, long length,
                                     unsigned char* data) {
  SeqOfPtr<DataRoutingEntry*>& table = routingTable();
  for (int i = 0; i < table.length(); ++i) {
    DataRoutingEntry* entry = table[i];
    if (!entry->matches(key->chars())) continue;
    if (entry->ready) {
      ZLOG(LogStream::VERBOSE) << "Target ready. Sending data" << std::endl;
      sendProduct(*entry, tag, length, reinterpret_cast<const char*>(data));
      entry->ready = false;
    } else {
      entry->queueData(tag, static_cast<int>(length), data);
    }
  }
}

void DataRoutingManager::ready(const IPC_Target& target) {
  int index = entryOf(target);
  if (index < 0) return;
  DataRoutingEntry* entry = routingTable()[index];
  if (entry->queued() == 0) {
    ZLOG(LogStream::VERBOSE) << "No data in queue. Setting ready status"
                             << std::endl;
    entry->ready = true;
    return;
  }
  ZLOG(LogStream::VERBOSE) << "Extracting data from queue" << std::endl;
  Q_Data* product = entry->nextData();
  ZLOG(LogStream::VERBOSE) << "length = " << product->length << std::endl;
  sendProduct(*entry, product->tag, product->length, product->data);
  delete product;
}

// A child that never reported itself has the null target, which is also
// the target of every vacant entry; it has no entry of its own.
int DataRoutingManager::entryOf(const IPC_Target& target) {
  if (target.isNull()) return -1;
  SeqOfPtr<DataRoutingEntry*>& table = routingTable();
  for (int i = 0; i < table.length(); ++i)
    if (*table[i] == target) return i;
  return -1;
}

void DataRoutingManager::childDied(ChildProcess* child) {
  int index = entryOf(child->target);
  if (index >= 0) {
    ZLOG(LogStream::EVENT) << "Removing target " << child->target
                           << " from routing table" << std::endl;
    SeqOfPtr<DataRoutingEntry*>& table = routingTable();
    delete table[index];
    table.replaceBetween(index - 1, index + 1, SeqOfPtr<DataRoutingEntry*>());
  }
  checkAutoRestart(child);
}

void DataRoutingManager::childRestarted(ChildProcess* child) {
  int index = entryOf(child->target);
  if (index >= 0) routingTable()[index]->reset();
  checkAutoRestart(child);
}

void DataRoutingManager::childRestartReported(ChildProcess* child) {
  checkAutoRestart(child);
}

void DataRoutingManager::checkAutoRestart(ChildProcess* child) {
  ZLOG(LogStream::VERBOSE) << "checkAutoRestart: restartCount = "
                           << child->restartCount << std::endl;
  if (child->restartCount > kRestartLimit) {
    child->restart = false;
    ZLOG(LogStream::PROBLEM) << "Child restarted too often: "
                             << child->executable << std::endl;
  }
  if (_newSpanDue) {
    _newSpanDue = false;
    _spanStartCount = child->restartCount;
    _spanWatch.start();
  }
  if (_spanWatch.elapsedNow() > _spanSeconds) {
    if (child->restartCount - _spanStartCount > kBurstLimit) {
      child->restart = false;
      ZLOG(LogStream::PROBLEM) << "Child restarted too often: "
                               << child->executable << std::endl;
    } else {
      _newSpanDue = true;
    }
  }
}
