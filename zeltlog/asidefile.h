// A file written aside, beside its final name, which it gets when it is whole.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "utils/zeltdata/zeltblock.h"

class AsideFile {
public:
    // Opens PATH.part, emptied where one was left.
    explicit AsideFile(const std::string& path);
    AsideFile(const AsideFile&) = delete;
    AsideFile& operator=(const AsideFile&) = delete;
    // Removes the part unless finish() gave it its name.
    ~AsideFile();

    // Nothing is written any more once something went wrong.
    void write(Bytes bytes);

    // Closes the part and gives it its name. False, with the name as it was before, when anything has gone wrong.
    bool finish();

    // What went wrong first, "PATH.part: No space left on device"; empty when nothing did.
    const std::string& problem() const { return problem_; }

    const std::string& partPath() const { return part_; }

private:
    void fail(const std::string& path, int systemError);

    std::string path_;
    std::string part_;
    std::string problem_;
    std::unique_ptr<char[]> buffer_;
    std::FILE* stream_ = nullptr;
};
