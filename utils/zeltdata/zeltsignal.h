// What the decoders of the measurement blocks share: signals by number, and storing them in an epoch.
#pragma once

#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltmeasepoch.h"

// Wavelength in m of a signal number; k is the GLONASS frequency number. A number without a carrier of its own, or a
// GLONASS signal with k outside -7 to 6, counts as L1.
double zeltSignalWavelength(int signal, int k);

// The slot (0 to 6) in which a signal is stored, -1 when it has none.
int zeltSignalSlot(int signal);

// True for the signals whose C/N0 is logged without the usual offset of 10 dB-Hz (GPS P(Y)).
bool zeltIsLowCn0Signal(int signal);

// A C/N0 as ZeltMeasSignal::cn0Even wants it.
uint8_t zeltEvenCn0(float cn0);

// Begins a satellite record: no signal, no GLONASS channel.
void zeltStartSatellite(uint8_t svid, uint8_t channel, ZeltMeasSat& satellite);

// A signal with every value missing.
ZeltMeasSignal zeltEmptySignal(int signal);

// Empties the epoch and fills in what the header of a block says: time stamp, common flags, clock jumps unknown.
void zeltStartEpoch(Bytes block, uint8_t commonFlags, ZeltMeasEpoch& epoch);

// Stores a signal in the slot of its type and marks it used; false when signal or antenna have no place.
bool zeltStoreSignal(ZeltMeasSat& satellite, int antenna, const ZeltMeasSignal& signal);
