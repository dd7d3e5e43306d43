#include "SoundingFamily.h"

const SoundingFamily kPoesFamily = {
    "POES", "poesBufr.spi", "poesBufrInfo.txt", "/data/POESProfDescTable.txt",
    "/point/POES/netcdf",
    5002, 10, false, false, 7004, -1,
    3, {"PRESSURE", "TEMPERATURE", "MIXINGRATIO"},
    {" _press[", "  _temp[", "   _w["}, {true, true, false},
    {8003, 0}, true, true,
    "PBD",
    "Missing lat/lon coordinates for this ob.  Skipping to next observation.",
    {"Lat/lon location [ ", " ] is not in this localization.  Not stored."},
    {"Unable to determine the number of data levels for lat/long location [",
     "] not stored, skipping to next ob."},
    {"Unable to pre-process sounding profile data sets for lat/long "
     "location [",
     "] not stored, skipping to next ob."},
    "Storing data for site location ", ".  Skipping to next Station."};

const SoundingFamily kGoesFamily = {
    "GOES", "goesBufr.spi", "goesBufrInfo.txt", "/data/GOESProfDescTable.txt",
    "/point/GOES/netcdf",
    5001, 2, true, true, 10004, 0,
    4, {"PRESSURE", "TEMPERATURE", "DEWPOINT", "HEIGHT"},
    {" _press[", "  _temp[", "  _td[", "  _z["}, {false, true, true, false},
    {8003, 2054}, false, false,
    "GBD",
    "No lat/lon coords for this ob; skipping.",
    {"Lat/lon [ ", " ] not in this localization; not stored."},
    {"Unknown number of data levels for lat/lon [", "]; skipping."},
    {"Unable to pre-process sounding data for lat/lon [", "]; skipping."},
    "NCF_STORE site ", "; skipping."};
