// Logs for tests: blocks built field by field, files that go away with their test, logs read back.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltcrc.h"
#include "utils/zeltdata/zeltread.h"

using ByteVector = std::vector<uint8_t>;

constexpr int kTestWeek = 2111;

// A table of cases; the loop over it names the columns.
template <class... Columns>
using Rows = std::vector<std::tuple<Columns...>>;

// A block of a given length, zero but for its header. Fields are named as Bytes names them, signed ones as unsigned;
// several values of u8 follow each other. A field behind the end makes the block longer.
struct BlockBuilder {
    ByteVector bytes;

    BlockBuilder(int number, size_t length, int revision = 0, uint32_t tow = 0, int wnc = kTestWeek) : bytes(length) {
        u8(0, {kZeltSync1, kZeltSync2}).u16(kZeltIdOffset, number | revision << 13);
        u32(kZeltTowOffset, tow).u16(kZeltWncOffset, wnc);
    }
    explicit BlockBuilder(const ByteVector& block) : bytes(block) {}

    BlockBuilder& put(size_t at, size_t size, uint64_t value) {
        if (bytes.size() < at + size) bytes.resize(at + size);
        for (size_t i = 0; i < size; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
        return *this;
    }
    BlockBuilder& u8(size_t at, std::initializer_list<int> values) {
        for (const int value : values) u8(at++, value);
        return *this;
    }
    BlockBuilder& u8(size_t at, int64_t value) { return put(at, 1, static_cast<uint64_t>(value)); }
    BlockBuilder& u16(size_t at, int64_t value) { return put(at, 2, static_cast<uint64_t>(value)); }
    BlockBuilder& u32(size_t at, int64_t value) { return put(at, 4, static_cast<uint64_t>(value)); }
    BlockBuilder& f32(size_t at, double value) {
        return put(at, 4, std::bit_cast<uint32_t>(static_cast<float>(value)));
    }
    BlockBuilder& f64(size_t at, double value) { return put(at, 8, std::bit_cast<uint64_t>(value)); }
    BlockBuilder& text(size_t at, const std::string& value) {
        for (const char c : value) u8(at++, c);
        return *this;
    }

    // Completes length and CRC.
    ByteVector done() {
        u16(kZeltLengthOffset, static_cast<int64_t>(bytes.size()));
        u16(kZeltCrcOffset, zeltCrc(bytes.data() + kZeltIdOffset, bytes.size() - kZeltIdOffset));
        return bytes;
    }
};

inline Bytes viewOf(const ByteVector& bytes) { return {bytes.data(), bytes.size()}; }

inline ByteVector& operator+=(ByteVector& log, const ByteVector& more) {
    log.insert(log.end(), more.begin(), more.end());
    return log;
}

inline ByteVector joined(const std::vector<ByteVector>& parts) {
    ByteVector all;
    for (const ByteVector& part : parts) all += part;
    return all;
}

// A file of text, its line ends as one byte, or with std::ios::binary the bytes of any file.
inline std::string readFile(const std::filesystem::path& path, std::ios::openmode mode = std::ios::in) {
    std::ifstream in(path, mode);
    return {std::istreambuf_iterator<char>(in), {}};
}

// The lines of a text from the given one on.
inline std::vector<std::string> linesOf(const std::string& text, size_t first = 0) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return {lines.begin() + static_cast<std::ptrdiff_t>(std::min(first, lines.size())), lines.end()};
}

// The example log, and the compact one of the same measurements.
const std::string kExampleLog = ZELT_EXAMPLES "/esbc-2020-06-25-3h.zelt";
const std::string kCompactLog = ZELT_EXAMPLES "/esbc-2020-06-25-3h-meas3.zelt";

// Hands every block of a log to `visit`, with the file that it is read from.
template <class Visit>
void forEachBlock(const std::string& path, Visit visit) {
    ZeltFile file;
    zeltOpenFile(path.c_str(), file);
    Bytes block;
    while (zeltGetNextBlock(file, block, kZeltAnyBlock, kZeltAnyBlock, 0) == kZeltFound) visit(file, block);
    zeltCloseFile(file);
}

// A new directory for one test, which runs in it. Tests may run side by side.
struct TestDirectory {
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::path path;

    TestDirectory() {
        std::random_device random;
        do {
            path = std::filesystem::temp_directory_path() / ("zelt-test-" + std::to_string(random()));
        } while (!std::filesystem::create_directory(path));
        std::filesystem::current_path(path);
    }
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;
    ~TestDirectory() {
        std::error_code ignored;
        std::filesystem::current_path(before, ignored);
        std::filesystem::remove_all(path, ignored);
    }

    std::string write(const std::string& name, const ByteVector& bytes) const {
        std::ofstream out(path / name, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return (path / name).string();
    }
};
