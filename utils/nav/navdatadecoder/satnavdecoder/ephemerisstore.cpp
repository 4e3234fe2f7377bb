#include "utils/nav/navdatadecoder/satnavdecoder/ephemerisstore.h"

#include "utils/geometry/satnames.h"
#include "utils/nav/navdatadecoder/satnavdecoder/makeephemeris.h"
#include "utils/zeltdata/zeltnav.h"

namespace Qon::Nav {
namespace {

// A damaged block, or one of a number that another constellation's satellite has, must not get into that one's slot.
template <class Record>
void replaceSlot(EphemerisStore& store, const Record& ephemeris, ConstellationCode code) {
    if (SVIDToConstellation(ephemeris.svid) == code) store.slots[ephemeris.svid] = ephemeris;
}

}  // namespace

void StoreGpsEphemeris(EphemerisStore& store, const GpsEphemeris& ephemeris) { replaceSlot(store, ephemeris, kGps); }

void StoreGalEphemeris(EphemerisStore& store, const GalEphemeris& ephemeris) {
    // Clock and group delay of a message belong together: F/NAV's are those of E1 and E5a, which tracks are measured
    // with.
    if (ephemeris.source == ZeltGalNav::kSourceFnav) replaceSlot(store, ephemeris, kGalileo);
}

void StoreGloEphemeris(EphemerisStore& store, const GloEphemeris& ephemeris) {
    replaceSlot(store, ephemeris, kGlonass);
}

void StoreBdsEphemeris(EphemerisStore& store, const BdsEphemeris& ephemeris) { replaceSlot(store, ephemeris, kBeiDou); }

void StoreNavBlock(EphemerisStore& store, Bytes block) {
    switch (zeltNumber(block)) {
        case kZeltGpsNav: return StoreGpsEphemeris(store, MakeGpsEphemeris(block));
        case kZeltGalNav: return StoreGalEphemeris(store, MakeGalEphemeris(block));
        case kZeltGloNav: return StoreGloEphemeris(store, MakeGloEphemeris(block));
        case kZeltBdsNav: return StoreBdsEphemeris(store, MakeBdsEphemeris(block));
        default: return;
    }
}

}  // namespace Qon::Nav
