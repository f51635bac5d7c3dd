#pragma once
// Little-endian field access on byte buffers (the host is little-endian; checked at compile time).

#include <bit>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "UVX I/O assumes a little-endian host");

namespace uvx_bytes {

template <class T>
inline T Get(const unsigned char* p) {
  T v;
  std::memcpy(&v, p, sizeof(T));
  return v;
}
template <class T>
inline void Put(unsigned char* p, T v) {
  std::memcpy(p, &v, sizeof(T));
}

}  // namespace uvx_bytes
