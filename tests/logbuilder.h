// Logs for tests, benchmarks and fuzz seeds: blocks built field by field, files that go away with their test.
#pragma once

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "utils/zeltdata/zeltblock.h"
#include "utils/zeltdata/zeltcrc.h"

using ByteVector = std::vector<uint8_t>;

constexpr uint16_t kTestWeek = 2111;

// A block of a given length, zero but for its header; set() writes any arithmetic value little-endian.
struct BlockBuilder {
    ByteVector bytes;

    BlockBuilder(uint16_t number, int revision, uint32_t tow, uint16_t wnc, size_t length) : bytes(length) {
        set<uint8_t>(0, kZeltSync1);
        set<uint8_t>(1, kZeltSync2);
        set<uint16_t>(kZeltIdOffset, static_cast<uint16_t>(number | revision << 13));
        set<uint32_t>(kZeltTowOffset, tow);
        set<uint16_t>(kZeltWncOffset, wnc);
    }

    template <class Value>
    BlockBuilder& set(size_t offset, Value value) {
        if (bytes.size() < offset + sizeof value) bytes.resize(offset + sizeof value);
        uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof value);  // tests run on little-endian machines
        for (size_t i = 0; i < sizeof value; ++i) bytes[offset + i] = static_cast<uint8_t>(bits >> (8 * i));
        return *this;
    }

    BlockBuilder& text(size_t offset, const std::string& value) {
        for (size_t i = 0; i < value.size(); ++i) set<char>(offset + i, value[i]);
        return *this;
    }

    // Completes length and CRC.
    ByteVector done() {
        set<uint16_t>(kZeltLengthOffset, static_cast<uint16_t>(bytes.size()));
        set<uint16_t>(kZeltCrcOffset, zeltCrc(bytes.data() + kZeltIdOffset, bytes.size() - kZeltIdOffset));
        return bytes;
    }
};

inline Bytes viewOf(const ByteVector& bytes) { return {bytes.data(), bytes.size()}; }

inline ByteVector& operator+=(ByteVector& log, const ByteVector& more) {
    log.insert(log.end(), more.begin(), more.end());
    return log;
}

inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline ByteVector readLog(const std::filesystem::path& path) {
    const std::string text = readFile(path);
    return {text.begin(), text.end()};
}

// A directory of its own for one test.
struct TestDirectory {
    std::filesystem::path path;

    explicit TestDirectory(const std::string& name) {
        path = std::filesystem::temp_directory_path() / ("zelt-test-" + name);
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;
    ~TestDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    std::string write(const std::string& name, const ByteVector& bytes) const {
        std::ofstream out(path / name, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return (path / name).string();
    }
};
