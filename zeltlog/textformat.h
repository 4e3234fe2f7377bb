// Texts put together from numbers.
#pragma once

#include <cstdint>
#include <string>

// As snprintf, of any length.
#if defined(__MINGW32__)
__attribute__((format(gnu_printf, 1, 2)))  // its C++ library formats so, not as Windows does
#elif defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
std::string
formatText(const char* format, ...);  // NOLINT(cert-dcl50-cpp): compilers check the formats of these alone

// "1 block", "2 blocks", "no block".
std::string countText(uint64_t count, const char* noun);
