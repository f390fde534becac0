#pragma once

#include <resmgt/memoryBuffers/mbRegion.h>

#include <array>
#include <cstdint>

namespace Qv {

class MbBufferImp;

/// What an event does to a buffer in one of its states. An object serves all buffers: all that
/// varies is in the buffer's fields, and its current state is one pointer there.
///
/// Lock:    the buffer's is held by the caller of any of these, and held again when it returns or
///          raises; in between it may be given up.
/// Results: an event answers CHANGED if it took the buffer from state to state, so that waiters
///          must be woken, and UNCHANGED if not. AGAIN says that it has waited for another thread's
///          change: the buffer may have any state now, and whoever dispatches sends the event
///          again.
/// Errors:  MbEx::ExIllegalTransition for an event that a state doesn't accept; the assertion
///          "! _transientStateOwner.isCurrentThread()" for a protocol that would wait for its own
///          end; what protocol and manager raise.
class MbState {
public:
    enum Result { UNCHANGED = 0, CHANGED = 1, AGAIN = 2 };

    MbState() = default;
    MbState( const MbState& ) = delete;
    MbState& operator=( const MbState& ) = delete;
    virtual ~MbState() = default;

    virtual int rdlock( MbBufferImp* buffer ) const = 0;
    virtual int wrlock( MbBufferImp* buffer ) const = 0;
    virtual int wrdup( MbBufferImp* buffer ) const = 0;
    virtual int wr2rd( MbBufferImp* buffer ) const = 0;
    virtual int prefetch( MbBufferImp* buffer ) const = 0;
    virtual int asyncSync( MbBufferImp* buffer ) const = 0;
    virtual int sync( MbBufferImp* buffer ) const = 0;
    virtual int unlock( MbBufferImp* buffer ) const = 0;
    virtual int unload( MbBufferImp* buffer ) const = 0;
    virtual int free( MbBufferImp* buffer ) const = 0;
    virtual int destroy( MbBufferImp* buffer ) const = 0;
    virtual int asyncOpSucceeded( MbBufferImp* buffer ) const = 0;
    virtual int asyncOpFailed( MbBufferImp* buffer ) const = 0;
    /// Gives up the buffer's memory, which belongs to the caller now; the buffer is freed.
    virtual MbRegion release( MbBufferImp* buffer ) const = 0;
    /// Takes `region` over from the start of its transition on. Before that, where it raises at
    /// once, the region stays the caller's.
    virtual void grab( MbBufferImp* buffer, MbRegion region ) const = 0;
    virtual bool isLoaded() const = 0;
    virtual bool isDestroyed() const = 0;
    /// Run by every transition into this state and out of it.
    virtual void enter( MbBufferImp* buffer ) const = 0;
    virtual void exit( MbBufferImp* buffer ) const = 0;
};

/// The events, numbered by their bits in a mask of pending events.
enum MbEvent : unsigned {
    RDLOCK,
    WRLOCK,
    WRDUP,
    WR2RD,
    PREFETCH,
    ASYNC_SYNC,
    SYNC,
    UNLOCK,
    UNLOAD,
    FREE,
    DESTROY,
    ASYNC_OP_SUCCEEDED,
    ASYNC_OP_FAILED,
    NB_EVENTS
};

constexpr std::uint32_t eventBit( unsigned event ) {
    return 1u << event;
}

struct MbEventInfo {
    const char* name;
    int ( MbState::*operation )( MbBufferImp* ) const;
};

inline constexpr std::array<MbEventInfo, NB_EVENTS> MB_EVENTS = { {
    { "rdlock", &MbState::rdlock },
    { "wrlock", &MbState::wrlock },
    { "wrdup", &MbState::wrdup },
    { "wr2rd", &MbState::wr2rd },
    { "prefetch", &MbState::prefetch },
    { "asyncSync", &MbState::asyncSync },
    { "sync", &MbState::sync },
    { "unlock", &MbState::unlock },
    { "unload", &MbState::unload },
    { "free", &MbState::free },
    { "destroy", &MbState::destroy },
    { "asyncOpSucceeded", &MbState::asyncOpSucceeded },
    { "asyncOpFailed", &MbState::asyncOpFailed },
} };

} // namespace Qv
