// Mutations of logs that keep their blocks valid, so that an input gets past the reader.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

// Mutates the log in `data` in place, as LLVMFuzzerCustomMutator is asked to: blocks changed in a field, in their body,
// copied, moved, dropped, or the whole as bytes. Afterwards the blocks have right CRCs, but for one in some inputs.
size_t mutateLog(uint8_t* data, size_t size, size_t maxSize, unsigned seed);
