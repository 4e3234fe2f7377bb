// Ephemerides from navigation blocks.
#pragma once

#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"
#include "utils/zeltdata/zeltblock.h"

namespace Qon::Nav {

// Each takes a block of its kind whose satellite number and weeks are completed (zeltFixNavBlock), and makes a record
// of whatever it says. Health, issue, reference time and span are settled here:
//
//           healthy when                          issue of ephemeris                        span
//   GPS     the health byte is 0                  IODE                                      7200 s
//   Galileo E5a has a status, and it is 0 (HS)    IODnav modulo 1000                        14400 s
//           with valid data (DVS)
//   GLONASS the flag l_n is 0                     quarter of the hour of t_b in UTC, 1-96   1800 s
//   BeiDou  SatH1 is 0                            hour of t_oc, 0-23                        7200 s
//
// Health: IS-GPS-200, section 20.3.3.3.1.4 (all six bits); Galileo OS SIS ICD, section 5.1.9; GLONASS ICD, edition 5.1,
// section 4.4; BDS-SIS-ICD B1I, section 5.2.4.6. Issues are those that CGGTTS prints (writer.h).
//
// Spans: GPS ephemerides are fitted to 4 hours about t_oe, and BeiDou's, renewed every hour, are used as long.
// Galileo's, renewed every 10 minutes, serve for 4 hours. GLONASS's are for a quarter of an hour to either side of t_b;
// 1800 s let a track of 13 minutes that began within it end with it.
GpsEphemeris MakeGpsEphemeris(Bytes block);
GalEphemeris MakeGalEphemeris(Bytes block);
GloEphemeris MakeGloEphemeris(Bytes block);
BdsEphemeris MakeBdsEphemeris(Bytes block);

}  // namespace Qon::Nav
