// One opened log: where the reader is in it, and what the collector has gathered from it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "utils/zeltdata/zeltmeasstate.h"
#include "utils/zeltdata/zeltwindow.h"

// What is known of the bytes from `from` on: the next valid block, or that there is none.
struct ZeltLookahead {
    bool known = false;
    int64_t from = 0;
    int64_t blockPos = 0;
    size_t blockSize = 0;  // 0: no valid block up to the end of the file
};

struct ZeltFile {
    // The reader's (zeltread.h).
    ZeltWindow window;
    ZeltLookahead lookahead;
    int64_t position = 0;        // where the next call begins
    int64_t crcCheckedUpTo = 0;  // candidates before it are counted already
    uint32_t crcErrorCount = 0;  // candidates whose CRC was wrong, each once

    // The collector's (zeltmeas.h).
    ZeltMeasState meas;
};
