// Unsigned 32-bit integers in byte buffers, little-endian whatever the host's order: the
// order of every integer in page and merge-index files. Internal to libtalmon; pure
// functions, any thread.
#pragma once

#include <cstdint>

namespace Korin {

inline void PutU32(unsigned char* out, uint32_t value) {
  out[0] = static_cast<unsigned char>(value);
  out[1] = static_cast<unsigned char>(value >> 8);
  out[2] = static_cast<unsigned char>(value >> 16);
  out[3] = static_cast<unsigned char>(value >> 24);
}

inline uint32_t GetU32(const unsigned char* in) {
  return static_cast<uint32_t>(in[0]) | static_cast<uint32_t>(in[1]) << 8 |
         static_cast<uint32_t>(in[2]) << 16 | static_cast<uint32_t>(in[3]) << 24;
}

}  // namespace Korin
