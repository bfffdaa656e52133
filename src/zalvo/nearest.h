// The known name that is nearest to a mistyped one, for messages. Letters of either case are the
// same, and the family prefix (ZLV_IPAR_ and its like) may be missing.
#pragma once

#include <cstdint>
#include <string_view>

struct nearest_name {
  std::string_view wanted;
  const char* name = nullptr;  // nearest so far; null while none is near enough
  int32_t distance = 0;        // edits between the two
  explicit nearest_name(std::string_view text) : wanted(text) {}
};

// nearest_offer: takes name if it is nearer than what was offered before.
void nearest_offer(nearest_name& search, const char* name) noexcept;
