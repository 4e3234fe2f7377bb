// The verbose measurement blocks: MeasEpoch and the two blocks that refine it.
#pragma once

#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltmeasepoch.h"

// Decodes a MeasEpoch block, or its earlier form, into `epoch`. A sub-block that does not fit the block ends the
// decoding; what was decoded stays. Satellites of no internal number, GLONASS satellites without a valid frequency
// number and signals without a slot are dropped; a satellite without any signal is not kept.
void zeltDecodeMeasEpoch(Bytes block, ZeltMeasEpoch& epoch);

// Refines the signals of a decoded MeasEpoch. Ignored as a whole when its sub-blocks do not fit the block; a sub-block
// whose satellite and signal are not in the epoch is passed over.
void zeltApplyMeasExtra(Bytes block, ZeltMeasEpoch& epoch);
void zeltApplyMeasFullRange(Bytes block, ZeltMeasEpoch& epoch);
