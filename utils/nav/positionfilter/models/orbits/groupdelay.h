// Group delays that satellites broadcast, in m: how much later than its clock polynomial says a signal leaves a
// satellite. All that the program knows of them stands here, in two forms that differ on purpose: the delay of any one
// signal, and those of the pair of signals that a track is measured with, in the precision that its lines ask for.
#pragma once

#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"

namespace Qon::Nav {

// Of one signal, by its number (sigtypes.h); 0 for a signal of which nothing is broadcast. The track computation does
// not use these.
//
// GPS: T_GD, of L2 times (f1/f2)^2 rounded to single precision (IS-GPS-200, section 20.3.3.3.3.2). BeiDou: T_GD1 and
// T_GD2 (BDS-SIS-ICD B1I, section 5.2.4.8), missing ones as they are. GLONASS: delays whose difference is the broadcast
// one of L2 against L1 and whose ionosphere-free combination is 0. Galileo (OS SIS ICD, section 5.1.5): of the three
// broadcast delays the first that is not missing is asked, in the order E1-E5b, E1-E5a, E1-E6; a signal that this one
// does not concern has 0, whatever the other two say.
double GroupDelay(const GpsEphemeris& ephemeris, int signal);
double GroupDelay(const GalEphemeris& ephemeris, int signal);
double GroupDelay(const GloEphemeris& ephemeris, int signal);
double GroupDelay(const BdsEphemeris& ephemeris, int signal);

// Of a track's signals 1 and 2, whose frequencies f1 and f2 are in Hz. GPS T_GD and Galileo's E1-E5a delay
// count as they are for signal 1 and times (f1/f2)^2 for signal 2, so that they cancel in the ionosphere-free
// combination; a missing Galileo delay counts too, and what its size leaves of the codes is no measurement (F/NAV
// always has it). BeiDou's T_GD1 and T_GD2 count where they are not missing; they do not cancel, as the clock refers to
// B3I. GLONASS and an empty record have none.
struct GroupDelays {
    float first = 0;
    float second = 0;
};
GroupDelays TrackGroupDelays(const Ephemeris& ephemeris, double f1, double f2);

}  // namespace Qon::Nav
