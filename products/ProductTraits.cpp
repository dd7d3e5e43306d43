#include "ProductTraits.h"

namespace {

const char kStat[] = " stat() failure on file ";
const char kFstat[] = " fstat failure on file ";
const char kWriting[] = "Writing record to netcdf file: ";
const char kStored[] = "NCF_STOREd to netcdf file: ";
const char kWriteFailed[] = "Unable to write netcdf data.";
const char kStoreFailed[] = "Unable to NCF_STORE netcdf data.";

}  // namespace

const ProductTraits kModelTraits = {
    "modelBufrPattern.txt", "/ispan/bufr/modelSoundings/NAM",
    "/ispan/badModelBufr", ProductTraits::kSortedExpression, "JUS.*", 36000,
    "Model Soundings", 0, kStat, kWriting, kWriteFailed,
    " modelBufrData.......", " is not a model BUFR file.",
    true, true, false, false};

const ProductTraits kPoesTraits = {
    "POESBufrPattern.txt", "/ispan/bufr/POESSoundings", "/ispan/badPOESBufr",
    ProductTraits::kAll, nullptr, 72000, "POES Soundings", 10006, kFstat,
    kWriting, kWriteFailed, " POESBufrData.......",
    " is not a POES BUFR file.", false, true, false, true};

const ProductTraits kGoesTraits = {
    "GOESBufrPattern.txt", "/ispan/bufr/GOESSoundings", "/ispan/badGOESBufr",
    ProductTraits::kAll, nullptr, 36000, "GOES Soundings", 10005, kFstat,
    kStored, kStoreFailed, " GOESBufrData.......",
    " is not a GOES BUFR file.", false, true, false, true};

// The bracket of the listing expression is a character set: the bar is one
// of its members.
const ProductTraits kAcarsTraits = {
    "acarsBufrPattern.txt", "/ispan/bufr/acars", "/ispan/badAcarsBufr",
    ProductTraits::kUnsortedExpression, "IUA.0[1|2]", 36000, "Acars", 79,
    kStat, kWriting, kWriteFailed, nullptr, nullptr,
    false, true, false, false};

const ProductTraits kHdwTraits = {
    "CSWBufrPattern.txt", "/ispan/bufr/CSW", "/ispan/badCSWBufr",
    ProductTraits::kAll, nullptr, 36000, "High Density Winds", 10007, kFstat,
    kStored, kStoreFailed, " HDWBufrData.......", " is not a HDW BUFR file.",
    false, true, true, true};

const ProductTraits kProfilerTraits = {
    "profBufrPattern.txt", "/ispan/bufr/prof", "/ispan/badProfiler",
    ProductTraits::kAll, nullptr, 36000, "Profiler", 0, kStat, kStored,
    kStoreFailed, " profilerBufrData.......", " is not a profiler BUFR file.",
    false, false, false, true};

const ProductTraits kQuikScatTraits = {
    "quikscatBufrPattern.txt", "/ispan/bufr/QuikScat",
    "/ispan/badQuikScatBufr", ProductTraits::kAll, nullptr, 36000,
    "Quik Scat Winds", 10008, kFstat, kStored, kStoreFailed,
    " QuikScatBufrData.......", " is not a QuikScat BUFR file.",
    false, true, true, true};
