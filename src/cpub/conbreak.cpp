#include "cpub/conbreak.h"

#include <csignal>

#include <atomic>
#include <mutex>

namespace {

// Lock-free, so that the handler may add to it while threads read it.
std::atomic<uint32_t> numbreak{0};  // NOLINT: see the header
static_assert(std::atomic<uint32_t>::is_always_lock_free);

std::mutex lock;                    // NOLINT: guards the two below
int numlistener = 0;                // NOLINT: see the header
struct sigaction handlerbefore {};  // NOLINT: see the header

void on_interrupt(int) {
  numbreak.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

void conbreak_listen() noexcept {
  const std::lock_guard<std::mutex> hold(lock);
  if (numlistener++ > 0) return;
  struct sigaction ours {};
  ours.sa_handler = on_interrupt;
  ours.sa_flags = SA_RESTART;  // a read that is under way goes on
  sigemptyset(&ours.sa_mask);
  sigaction(SIGINT, &ours, &handlerbefore);
}

void conbreak_leave() noexcept {
  const std::lock_guard<std::mutex> hold(lock);
  if (--numlistener > 0) return;
  struct sigaction now {};
  // A handler that the host put in place meanwhile stays.
  if (sigaction(SIGINT, nullptr, &now) == 0 && now.sa_handler == on_interrupt) {
    sigaction(SIGINT, &handlerbefore, nullptr);
  }
}

uint32_t conbreak_count() noexcept {
  return numbreak.load(std::memory_order_relaxed);
}
