#include "utils/nav/positionfilter/models/orbits/satellitemodel.h"

#include "utils/geometry/sigtypes.h"
#include "utils/nav/positionfilter/models/orbits/keplerorbit.h"
#include "utils/nav/positionfilter/models/orbits/orbits.h"

namespace Qon::Nav {
namespace {

// GLONASS keeps an arc, made when it is first needed: a model of another constellation has no use for its kilobyte.
struct PositionAt {
    double t;
    std::optional<GlonassArc>& arc;

    Vector3 operator()(const EphemerisHead& /*none*/) const { return {}; }
    Vector3 operator()(const GpsEphemeris& ephemeris) const { return OM_GetSatPosGPS(ephemeris, t); }
    Vector3 operator()(const GalEphemeris& ephemeris) const { return OM_GetSatPosGAL(ephemeris, t); }
    Vector3 operator()(const BdsEphemeris& ephemeris) const { return OM_GetSatPosBDS(ephemeris, t); }
    Vector3 operator()(const GloEphemeris& ephemeris) const {
        if (!arc) arc.emplace(ephemeris);
        return arc->positionAt(t).value_or(Vector3{});
    }
};

// The signals, those that clocks refer to, matter to the group delay alone, which is not passed on.
struct ClockAt {
    double t;

    SatClock operator()(const EphemerisHead& /*none*/) const { return {}; }
    SatClock operator()(const GpsEphemeris& ephemeris) const { return OM_GetSatClockGPS(ephemeris, kGpsL1Ca, t); }
    SatClock operator()(const GalEphemeris& ephemeris) const { return OM_GetSatClockGAL(ephemeris, kGalE1, t); }
    SatClock operator()(const GloEphemeris& ephemeris) const { return OM_GetSatClockGLO(ephemeris, kGloL1Ca, t); }
    SatClock operator()(const BdsEphemeris& ephemeris) const { return OM_GetSatClockBDS(ephemeris, kBdsB1I, t); }
};

struct RelativityAt {
    double t;

    double operator()(const EphemerisHead& /*none*/) const { return 0; }
    double operator()(const GloEphemeris& /*ephemeris*/) const { return 0; }
    double operator()(const GpsEphemeris& ephemeris) const { return ofKepler(ephemeris, kGpsModel); }
    double operator()(const GalEphemeris& ephemeris) const { return ofKepler(ephemeris, kGalileoModel); }
    double operator()(const BdsEphemeris& ephemeris) const { return ofKepler(ephemeris, kBeiDouModel); }

    double ofKepler(const auto& ephemeris, const KeplerModel& model) const {
        return KeplerRelativity(ephemeris.orbit, model, t - ephemeris.referenceTime);
    }
};

}  // namespace

SatelliteModel::SatelliteModel(const Ephemeris& ephemeris) : ephemeris_(ephemeris) {}

Vector3 SatelliteModel::GetSentPosition(double t) { return std::visit(PositionAt{t, arc_}, ephemeris_); }

Vector3 SatelliteModel::GetSatPosition(double t, const Vector3& receiver) {
    if (IsEmpty(ephemeris_)) return {};
    // One turn by the distance before it: what a second one would add is below a millimetre (geometry.h).
    const Vector3 position = GetSentPosition(t);
    return RotateForTravel(position, GetLineOfSight(receiver, position).range);
}

double SatelliteModel::GetSatClockBias(double t) const { return std::visit(ClockAt{t}, ephemeris_).offset; }

double SatelliteModel::GetRelativisticCorr(double t) const { return std::visit(RelativityAt{t}, ephemeris_); }

}  // namespace Qon::Nav
