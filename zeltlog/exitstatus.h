// How zeltlog ends.
#pragma once

constexpr int kAllWell = 0;
constexpr int kUnreadableLog = 1;  // some log could not be read, holds no block, or gives no position
constexpr int kWrongArguments = 2;
