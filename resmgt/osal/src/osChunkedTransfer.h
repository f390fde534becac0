#pragma once

#include <resmgt/osal/src/osFileCalls.h>

#include <algorithm>

namespace Qv {

/// The largest request: some systems lack the resources for a single very large one.
inline constexpr unsigned long long LARGEST_CHUNK = 0x2000000;
/// Where it isn't halved any more.
inline constexpr unsigned long long SMALLEST_CHUNK = 8192;
/// The most that one operation may be asked to move.
inline constexpr unsigned long long LARGEST_TRANSFER = 0xffffffff;

/// What is done when the system lacks the resources for the last request of a transfer.
enum class LastRequest { HALVED, FINAL };

/// How far a transfer got, and why not further; MOVED also at the end of the file.
struct Transferred {
    unsigned long long done;
    OsFileCalls::Outcome outcome;
};

/// Moves `size` bytes by `request( done, count )`, which moves up to `count` bytes, the first of
/// them the `done`-th. A count that is no multiple of `alignment` is the end of the file, as is 0.
template <class Request>
Transferred transferInChunks( unsigned long long size, unsigned long long alignment,
                              LastRequest lastRequest, const Request& request ) {
    using OsFileCalls::Outcome;
    unsigned long long done = 0;
    unsigned long long chunk = LARGEST_CHUNK;
    while( done < size ) {
        const unsigned long long left = size - done;
        const OsFileCalls::Moved moved = request( done, std::min( left, chunk ) );
        const bool isFinal = lastRequest == LastRequest::FINAL && left <= chunk;
        if( moved.outcome == Outcome::NO_RESOURCES && chunk > SMALLEST_CHUNK && !isFinal ) {
            chunk /= 2;
        } else if( moved.outcome != Outcome::MOVED ) {
            return { done, moved.outcome };
        } else {
            done += moved.count;
            if( moved.count == 0 || moved.count % alignment != 0 ) {
                break;
            }
        }
    }
    return { done, Outcome::MOVED };
}

} // namespace Qv
