#pragma once

#include <resmgt/locks/src/lkDeadline.h>

#include <atomic>
#include <cstdint>

namespace Qv::LkFutex {

/// Sleeps while the word holds `expected`, until a wake-up or the deadline. May return without
/// either: look at the word and the deadline again.
/// Errors: a system assertion.
void wait( const std::atomic<std::uint32_t>& word, std::uint32_t expected,
           const LkDeadline& deadline );
/// Wakes one or all sleepers on the word. Only its address is used: the word may be gone.
void wakeOne( const std::atomic<std::uint32_t>* word );
void wakeAll( const std::atomic<std::uint32_t>* word );

} // namespace Qv::LkFutex
