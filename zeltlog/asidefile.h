// A file written aside, beside its final name, which it gets when it is whole. Of two programs that write the same file
// at a time the one that began first fails, and the other's part is left alone; on Windows the other cannot begin.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "utils/zeltdata/zeltblock.h"

class AsideFile {
public:
    // Opens PATH.part anew. A path that is no file, as a folder or a device, is not written.
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

private:
    void open();
    void fail(const std::string& path, const std::string& reason);
    bool isStillOurs() const;

    std::string path_;
    std::string part_;
    std::string problem_;
    std::unique_ptr<char[]> buffer_;
    std::FILE* stream_ = nullptr;
};
