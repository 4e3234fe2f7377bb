// What the decoders of the measurement blocks share: signals by number, and storing them in an epoch.
#pragma once

#include "utils/geometry/constants.h"
#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltmeasepoch.h"

// Wavelength in m of a signal number; k is the GLONASS frequency number, of any value. A signal number without a
// carrier, and L-band, count as L1: the receiver refers their carrier phases to it.
double zeltSignalWavelength(int signal, int k);

// The slot (0 to 6) in which a signal is stored, -1 when it has none.
int zeltSignalSlot(int signal);

// The offset that C/N0 of a signal is logged without, dB-Hz: 0 for GPS P(Y), 10 for all others.
int zeltCn0Offset(int signal);

// True for a missing value, and for one that is not a number.
inline bool zeltIsMissing(double value) { return !(value > Qon::Nav::kAvailableAbove); }

// A C/N0 as ZeltMeasSignal::cn0Even wants it.
uint8_t zeltEvenCn0(float cn0);

// Begins a signal with every value missing and no flags: its slot is empty until kZeltSlotUsed is set.
void zeltStartSignal(int signal, ZeltMeasSignal& started);

// Empties the epoch and fills in what the header of a block says: time stamp, common flags, clock jumps unknown.
void zeltStartEpoch(Bytes block, uint8_t commonFlags, ZeltMeasEpoch& epoch);
