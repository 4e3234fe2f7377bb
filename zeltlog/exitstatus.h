// How zeltlog ends.
#pragma once

constexpr int kAllWell = 0;
// Some log could not be read, holds no block, or gives no position; or not all could be written.
constexpr int kNotAllWell = 1;
constexpr int kWrongArguments = 2;
