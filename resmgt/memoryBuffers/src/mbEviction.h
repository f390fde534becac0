#pragma once

#include <utility>

namespace Qv {

class MbBufferImp;

/// While the calling thread sends a buffer `unload` for want of memory: what that gives back is for
/// this thread, and a buffer that refuses and is evictable anew is nothing new to anybody.
class MbEviction {
public:
    explicit MbEviction( const MbBufferImp& victim ) noexcept
        : _outer( std::exchange( current, &victim ) ) {}
    MbEviction( const MbEviction& ) = delete;
    MbEviction& operator=( const MbEviction& ) = delete;
    ~MbEviction() { current = _outer; }

    static bool isOf( const MbBufferImp& buffer ) noexcept { return current == &buffer; }

private:
    static thread_local constinit const MbBufferImp* current;

    /// A protocol may need memory for other buffers in its `unload`.
    const MbBufferImp* const _outer;
};

} // namespace Qv
