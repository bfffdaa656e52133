// MD5 digests (RFC 1321), with which the memory manager notices that a locked block was changed.
// Not for anything that an opponent could gain from.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

using md5_digest = std::array<uint8_t, 16>;

md5_digest md5_of(const void* data, size_t size) noexcept;
