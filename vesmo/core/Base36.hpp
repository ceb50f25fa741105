#pragma once
// Alphabets of the 37-symbol packing of module ids: index 0 is the blank, then digits, then letters.

namespace vesmo {

inline constexpr char BASE36_UPPER_CHARS[] = " 0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
inline constexpr char BASE36_LOWER_CHARS[] = " 0123456789abcdefghijklmnopqrstuvwxyz";

} // namespace vesmo
