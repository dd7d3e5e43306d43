#ifndef ZEPH_PRODUCTS_LATLONCOORD_H_
#define ZEPH_PRODUCTS_LATLONCOORD_H_

#include <ostream>

// A position on the globe: latitude, then longitude, in degrees. The
// records of the wind decoders are known by it, as a station's by its id.
struct LatLonCoord {
  float lat;
  float lon;
};

// "lat, lon", as the log lines give a position.
inline std::ostream& operator<<(std::ostream& out,
                                const LatLonCoord& position) {
  return out << position.lat << ", " << position.lon;
}

#endif  // ZEPH_PRODUCTS_LATLONCOORD_H_
