// Console breaks: counts interrupts from the console while somebody listens. A signal belongs to
// the process, so its handler and its count are the one piece of state that the library shares
// between environments. Nothing is installed unless a caller asked for it by parameter, and what was
// installed before comes back when the last listener leaves.
#pragma once

#include <cstdint>

// conbreak_listen, conbreak_leave: in pairs, from any thread.
void conbreak_listen() noexcept;
void conbreak_leave() noexcept;
// conbreak_count: interrupts so far, since the process started.
uint32_t conbreak_count() noexcept;
