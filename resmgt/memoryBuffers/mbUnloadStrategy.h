#pragma once

#include <resmgt/memoryBuffers/mbBufferImp.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>

namespace Qv {

/// The buffers of a manager that can be evicted now, with a rule for picking the next one.
///
/// Lock: none inside; the manager calls it under its own.
/// Cost: each operation but `dump` takes constant time on average.
class QV_RESMGT_API MbUnloadStrategy {
public:
    /// Numbers buffers by their addresses. They never overlap, so each has a number of its own.
    struct Hash {
        std::size_t operator()( const MbBufferImp* buffer ) const noexcept {
            return reinterpret_cast<std::uintptr_t>( buffer ) / sizeof( MbBufferImp );
        }
    };

    MbUnloadStrategy() = default;
    MbUnloadStrategy( const MbUnloadStrategy& ) = delete;
    MbUnloadStrategy& operator=( const MbUnloadStrategy& ) = delete;
    virtual ~MbUnloadStrategy();

    virtual const char* getName() const = 0;
    /// The buffer can be evicted from now on.
    virtual void insertBuffer( MbBufferImp* buffer ) = 0;
    /// REQUIRES: the buffer is a member; the library's strategies assert it.
    virtual void removeBuffer( MbBufferImp* buffer ) = 0;
    /// The next victim, which stays a member. One that refuses to be unloaded is removed and
    /// inserted again; a thread that needs memory asks for as many victims as there are members,
    /// and then again ten times a second. So a strategy should get round to all its members:
    /// buffers behind one that always refuses and is always first are never evicted.
    /// REQUIRES: the strategy isn't empty.
    virtual MbBufferImp* selectVictim() const = 0;
    virtual bool isEmpty() const = 0;
    /// Writes the name; derived classes add to it.
    virtual void dump( std::ostream& stream ) const;
};

} // namespace Qv
