// Blocks built field by field, and found again in the bytes of a log.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "utils/zeltdata/zeltblock.h"

using ByteVector = std::vector<uint8_t>;

// Stops the program with a report when something that must hold does not.
void require(bool holds, const std::string& what);

constexpr int kTestWeek = 2111;

// A block of a given length, zero but for its header. Fields are named as Bytes names them, signed ones as unsigned;
// several values of u8 follow each other. A field behind the end makes the block longer.
struct BlockBuilder {
    ByteVector bytes;

    BlockBuilder(int number, size_t length, int revision = 0, uint32_t tow = 0, int wnc = kTestWeek);
    explicit BlockBuilder(ByteVector block) : bytes(std::move(block)) {}

    BlockBuilder& put(size_t at, size_t size, uint64_t value);
    BlockBuilder& u8(size_t at, std::initializer_list<int> values);
    BlockBuilder& u8(size_t at, int64_t value) { return put(at, 1, static_cast<uint64_t>(value)); }
    BlockBuilder& u16(size_t at, int64_t value) { return put(at, 2, static_cast<uint64_t>(value)); }
    BlockBuilder& u32(size_t at, int64_t value) { return put(at, 4, static_cast<uint64_t>(value)); }
    BlockBuilder& f32(size_t at, double value);
    BlockBuilder& f64(size_t at, double value);
    BlockBuilder& text(size_t at, const std::string& value);

    // Appends bit fields, "name:width=value ...", the first from bit 0 of a new byte on.
    BlockBuilder& bits(const std::string& fields);

    // Sets the time stamp, s since 1980-01-06.
    BlockBuilder& stamp(int64_t time);

    // Completes length and CRC.
    ByteVector done();
};

// Bit fields of "form name=value ...; form ...": the forms' own, with other values for those named. What is no form is
// fields itself.
using Forms = std::map<std::string, std::string>;
std::string fieldsOf(const std::string& text, const Forms& forms);

inline Bytes viewOf(const ByteVector& bytes) { return {bytes.data(), bytes.size()}; }
inline ByteVector copyOf(Bytes bytes) { return {bytes.data, bytes.data + bytes.size}; }

ByteVector& operator+=(ByteVector& log, const ByteVector& more);
ByteVector joined(const std::vector<ByteVector>& parts);

// The time stamp of a block, s since 1980-01-06.
int64_t secondOf(Bytes block);

// The blocks of a log, found byte by byte, none inside another: those of a right CRC, or all that have a header.
enum class Crc { kRight, kAny };
std::vector<Bytes> blocksOf(Bytes log, Crc crc = Crc::kRight);
