#include "tests/support/blocks.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "utils/geometry/navtools.h"
#include "utils/zeltdata/zeltcrc.h"

namespace {

std::FILE* const kReports = stderr;  // also when a fuzz target has replaced it

}  // namespace

void require(bool holds, const std::string& what) {
    if (holds) return;
    std::fprintf(kReports, "Does not hold: %s\n", what.c_str());
    std::abort();
}

BlockBuilder::BlockBuilder(int number, size_t length, int revision, uint32_t tow, int wnc) : bytes(length) {
    u8(0, {kZeltSync1, kZeltSync2}).u16(kZeltIdOffset, number | revision << 13);
    u32(kZeltTowOffset, tow).u16(kZeltWncOffset, wnc);
}

BlockBuilder& BlockBuilder::put(size_t at, size_t size, uint64_t value) {
    if (bytes.size() < at + size) bytes.resize(at + size);
    for (size_t i = 0; i < size; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
    return *this;
}

BlockBuilder& BlockBuilder::u8(size_t at, std::initializer_list<int> values) {
    for (const int value : values) u8(at++, value);
    return *this;
}

BlockBuilder& BlockBuilder::f32(size_t at, double value) {
    return put(at, 4, std::bit_cast<uint32_t>(static_cast<float>(value)));
}

BlockBuilder& BlockBuilder::f64(size_t at, double value) { return put(at, 8, std::bit_cast<uint64_t>(value)); }

BlockBuilder& BlockBuilder::text(size_t at, const std::string& value) {
    for (const char c : value) u8(at++, c);
    return *this;
}

BlockBuilder& BlockBuilder::bits(const std::string& fields) {
    std::istringstream in(fields);
    unsigned bit = 0;
    for (std::string name; std::getline(in >> std::ws, name, ':');) {
        unsigned width = 0;
        char equals = 0;
        int64_t value = 0;
        in >> width >> equals >> value;
        for (unsigned i = 0; i < width; ++i, ++bit) {
            if (bit % 8 == 0) bytes.push_back(0);
            bytes.back() |= static_cast<uint8_t>((value >> i & 1) << bit % 8);
        }
    }
    return *this;
}

BlockBuilder& BlockBuilder::stamp(int64_t time) {
    u32(kZeltTowOffset, time % Qon::Nav::kSecondsPerWeek * 1000);
    return u16(kZeltWncOffset, time / Qon::Nav::kSecondsPerWeek);
}

ByteVector BlockBuilder::done() {
    u16(kZeltLengthOffset, static_cast<int64_t>(bytes.size()));
    u16(kZeltCrcOffset, zeltCrc(bytes.data() + kZeltIdOffset, bytes.size() - kZeltIdOffset));
    return bytes;
}

std::string fieldsOf(const std::string& text, const Forms& forms) {
    std::istringstream in(text);
    std::string all;
    for (std::string part; std::getline(in >> std::ws, part, ';');) {
        const auto form = forms.find(part.substr(0, part.find(' ')));
        std::string fields = form == forms.end() ? part + ' ' : form->second;
        std::istringstream values(form == forms.end() ? "" : part.substr(form->first.size()));
        for (std::string name, value; std::getline(values >> std::ws, name, '=') && values >> value;) {
            const size_t at = (' ' + fields).find(' ' + name + ':');
            require(at != std::string::npos, "a field " + name + " of " + form->first);
            const size_t old = fields.find('=', at) + 1;
            fields.replace(old, fields.find(' ', old) - old, value);
        }
        all += fields;
    }
    return all;
}

ByteVector& operator+=(ByteVector& log, const ByteVector& more) {
    log.insert(log.end(), more.begin(), more.end());
    return log;
}

ByteVector joined(const std::vector<ByteVector>& parts) {
    ByteVector all;
    for (const ByteVector& part : parts) all += part;
    return all;
}

int64_t secondOf(Bytes block) { return int64_t{zeltWnc(block)} * Qon::Nav::kSecondsPerWeek + zeltTow(block) / 1000; }

std::vector<Bytes> blocksOf(Bytes log, Crc crc) {
    std::vector<Bytes> blocks;
    const uint8_t* end = log.data + log.size;
    for (const uint8_t* at = log.data; (at = std::find(at, end, kZeltSync1)) != end;) {
        const Bytes rest{at, static_cast<size_t>(end - at)};
        const size_t length = rest.u16(kZeltLengthOffset);
        const bool hasHeader = rest.u8(1) == kZeltSync2 && length >= kZeltMinLength && rest.has(0, length);
        const bool isBlock = hasHeader && (crc == Crc::kAny || zeltCrcIsValid(rest.sub(0, length)));
        if (isBlock) blocks.push_back(rest.sub(0, length));
        at += isBlock ? length : 1;
    }
    return blocks;
}
