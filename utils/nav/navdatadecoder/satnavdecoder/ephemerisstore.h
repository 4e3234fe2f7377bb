// The store of broadcast ephemerides: for every satellite the one received last, from the first block of a run to its
// last. Nothing ages: one that is too old is not usable (IsEphemerisUsable).
#pragma once

#include <array>
#include <cstdint>

#include "utils/nav/navdatadecoder/satnavdecoder/ephemeris.h"
#include "utils/zeltdata/zeltblock.h"

namespace Qon::Nav {

struct EphemerisStore {
    std::array<Ephemeris, 256> slots;  // by SVID; only those of the four stored constellations are ever filled
};

// Each replaces the slot of the record's satellite, whatever it holds: the newest block wins, older or unhealthy issues
// included. A record whose SVID is not of its constellation (GPS 1-32, GLONASS 38-68, Galileo 71-106, BeiDou 161-197)
// is dropped, and so is a Galileo record of another message than F/NAV.
void StoreGpsEphemeris(EphemerisStore& store, const GpsEphemeris& ephemeris);
void StoreGalEphemeris(EphemerisStore& store, const GalEphemeris& ephemeris);
void StoreGloEphemeris(EphemerisStore& store, const GloEphemeris& ephemeris);
void StoreBdsEphemeris(EphemerisStore& store, const BdsEphemeris& ephemeris);

// Stores a navigation block (of zeltFixNavBlock) as a record of its constellation; other blocks are passed over.
void StoreNavBlock(EphemerisStore& store, Bytes block);

}  // namespace Qon::Nav
