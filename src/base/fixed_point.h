#pragma once

#include <cstdint>

namespace premoov {

using Fixed = int32_t;       // 16.16 fixed point
using ShortFixed = int16_t;  // 8.8 fixed point

constexpr Fixed kFixed1 = 0x00010000;
constexpr ShortFixed kShortFixed1 = 0x0100;

constexpr Fixed IntToFixed(int32_t v) { return static_cast<Fixed>(static_cast<uint32_t>(v) << 16); }
constexpr int32_t FixedToInt(Fixed v) { return v >> 16; }

}  // namespace premoov
