// Ephemerides from navigation blocks.
#pragma once

#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"
#include "utils/zeltdata/zeltblock.h"

namespace Qon::Nav {

// Each takes a block of its kind whose satellite number and weeks are completed (zeltFixNavBlock). Health, issue,
// reference time and span are settled here:
//
//           healthy when                          issue of ephemeris                        span
//   GPS     the health byte is 0                  IODE                                      7200 s
//   Galileo E5a has a status, and it is 0 (HS)    IODnav modulo 1000                        14400 s
//           with valid data (DVS)
//   GLONASS the flag l_n is 0                     quarter of the hour of t_b in UTC, 1-96   1800 s
//   BeiDou  SatH1 is 0                            hour of t_oc, 0-23                        7200 s
GpsEphemeris MakeGpsEphemeris(Bytes block);
GalEphemeris MakeGalEphemeris(Bytes block);
GloEphemeris MakeGloEphemeris(Bytes block);
BdsEphemeris MakeBdsEphemeris(Bytes block);

}  // namespace Qon::Nav
