#include "cpub/md5.h"

#include <bit>
#include <cstring>

namespace {

constexpr size_t chunksize = 64;  // bytes that one step takes
constexpr size_t lengthsize = 8;  // bytes of the length behind the padding

// The integer part of 2^32 * abs(sin(k + 1)), as the RFC tabulates it.
constexpr std::array<uint32_t, 64> sines = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
constexpr int rotation[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

struct md5_state {
  uint32_t a = 0x67452301, b = 0xefcdab89, c = 0x98badcfe, d = 0x10325476;
};

struct md5_mix {
  uint32_t f;  // the round's function of b, c and d
  int word;    // which of the chunk's words is added
};

md5_mix mix_of(int k, const md5_state& s) noexcept {
  switch (k / 16) {
    case 0:
      return {(s.b & s.c) | (~s.b & s.d), k};
    case 1:
      return {(s.d & s.b) | (~s.d & s.c), (5 * k + 1) % 16};
    case 2:
      return {s.b ^ s.c ^ s.d, (3 * k + 5) % 16};
    default:
      return {s.c ^ (s.b | ~s.d), (7 * k) % 16};
  }
}

void take_chunk(md5_state& state, const uint8_t* chunk) noexcept {
  uint32_t word[16];
  std::memcpy(word, chunk, chunksize);  // x86 stores words as the RFC wants them
  md5_state s = state;
  for (int k = 0; k < 64; ++k) {
    const md5_mix mix = mix_of(k, s);
    const uint32_t sum = s.a + mix.f + sines[size_t(k)] + word[mix.word];
    s = {s.d, s.b + std::rotl(sum, rotation[k / 16][k % 4]), s.b, s.c};
  }
  state = {state.a + s.a, state.b + s.b, state.c + s.c, state.d + s.d};
}

}  // namespace

md5_digest md5_of(const void* data, size_t size) noexcept {
  static_assert(std::endian::native == std::endian::little);
  md5_state state;
  const auto* bytes = static_cast<const uint8_t*>(data);
  size_t pos = 0;
  for (; size - pos >= chunksize; pos += chunksize) take_chunk(state, bytes + pos);

  // The rest, a one bit, zeros, and the length in bits at the end of the last chunk.
  uint8_t tail[2 * chunksize] = {};
  const size_t rest = size - pos;
  if (rest > 0) std::memcpy(tail, bytes + pos, rest);
  tail[rest] = 0x80;
  const size_t tailsize = rest + 1 + lengthsize <= chunksize ? chunksize : 2 * chunksize;
  const uint64_t numbit = uint64_t(size) * 8;
  std::memcpy(tail + tailsize - lengthsize, &numbit, lengthsize);
  for (pos = 0; pos < tailsize; pos += chunksize) take_chunk(state, tail + pos);

  md5_digest digest;
  static_assert(sizeof state == sizeof digest);
  std::memcpy(digest.data(), &state, sizeof state);
  return digest;
}
