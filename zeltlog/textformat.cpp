#include "zeltlog/textformat.h"

#include <cstdarg>
#include <cstdio>

std::string formatText(const char* format, ...) {  // NOLINT(cert-dcl50-cpp)
    va_list values;
    va_start(values, format);
    va_list again;  // the first pass, which measures, uses the values up
    va_copy(again, values);
    const int length = std::vsnprintf(nullptr, 0, format, values);
    va_end(values);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string countText(uint64_t count, const char* noun) {
    if (count == 0) return std::string("no ") + noun;
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}
