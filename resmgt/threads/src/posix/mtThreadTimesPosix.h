#pragma once

#include <cstdint>

#include <pthread.h>
#include <sys/types.h>

namespace Qv::MtThreadTimesPosix {

/// All in units of 100 ns. A failed system call is a system assertion.
void readOfCurrent( std::uint64_t& kernel, std::uint64_t& user );
/// Of another thread, which can't end meanwhile.
void readOf( pthread_t handle, pid_t number, std::uint64_t& kernel, std::uint64_t& user );

} // namespace Qv::MtThreadTimesPosix
