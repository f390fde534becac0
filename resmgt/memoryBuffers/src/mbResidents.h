#pragma once

#include <resmgt/memoryBuffers/mbBufferImp.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Qv {

/// The buffers that have memory of a manager, and which of them has been evictable longest.
///
/// A buffer has a ticket, its place in the order in which buffers became evictable. Its own lock
/// guards the ticket, so that the first lock and the last unlock of a buffer write nothing that
/// buffers share but the clock. The heap knows for each buffer a key, the ticket that it had when
/// somebody last looked; a search brings the keys up to date where it passes. That yields the
/// oldest ticket of all, since a key is never later than its ticket.
///
/// Invariants, for each member:
///  - Its key is at most its ticket, or it is parked: its key is PARKED.
///  - An evictable buffer is parked only while a search that has picked it sends it `unload`, which
///    ends with the buffer being reported anew, or not evictable.
///
/// Lock:   the manager's, for all but the clock and the buffer's ticket. What is REQUIRED of
///         callers beside that stands with each operation. A search only tries the buffers' locks,
///         which come before the manager's.
class MbResidents {
public:
    /// No ticket is as late.
    static constexpr std::uint64_t PARKED = ~std::uint64_t( 0 );

    MbResidents() = default;
    MbResidents( const MbResidents& ) = delete;
    MbResidents& operator=( const MbResidents& ) = delete;

    /// The ticket of a buffer that becomes evictable now, and a bound above all that were given.
    // Sequentially consistent, together with the number of askers: who draws a ticket looks for
    // askers afterwards; an asker enters, and then takes the bound of what it looks at. Not both
    // can miss the other. The tickets themselves are ordered by the buffers' locks.
    std::uint64_t drawTicket() noexcept { return _clock.fetch_add( 1, std::memory_order_seq_cst ); }
    std::uint64_t getNow() const noexcept { return _clock.load( std::memory_order_seq_cst ); }

    /// The clock of MbResidence::since.
    static std::uint32_t getSeconds() noexcept;

    /// Makes room, so that `add` can't fail as long as there are at most `count` members.
    void reserve( std::size_t count );
    /// Adds a buffer, parked.
    /// REQUIRES: no member; the caller has it in transition.
    void add( MbBufferImp& buffer ) noexcept;
    /// REQUIRES: a member; the caller has it in transition.
    void remove( MbBufferImp& buffer ) noexcept;
    /// Reports that a parked buffer is evictable, by its ticket.
    /// REQUIRES: a member; the caller holds the buffer's lock.
    void unpark( MbBufferImp& buffer ) noexcept;

    /// The buffer with the oldest ticket before `bound`, parked and pinned, or null. One whose lock
    /// is held is passed over for a later one; where all are, the oldest is the answer.
    MbBufferImp* pickOldest( std::uint64_t bound ) noexcept;

    std::size_t getSize() const noexcept { return _heap.size(); }
    /// Whether there may be evictable buffers; true also for those locked since a search passed.
    bool mayHaveEvictable() const noexcept { return !_heap.empty() && _heap[0].key != PARKED; }
    std::size_t countEvictable() const noexcept;
    /// Whether `has( buffer )` answers true for each member.
    template <class Has>
    bool areAll( Has has ) const {
        return std::all_of( _heap.begin(), _heap.end(),
                            [&has]( const Entry& entry ) { return has( *entry.buffer ); } );
    }
    /// Calls `visit( buffer )` for each member, in no order.
    template <class Visit>
    void forEach( Visit visit ) const {
        for( const Entry& entry : _heap ) {
            visit( *entry.buffer );
        }
    }
    /// The `count` largest members, or all where there are fewer, the largest first.
    std::vector<const MbBufferImp*> getLargest( std::size_t count ) const;

private:
    struct Entry {
        std::uint64_t key;
        MbBufferImp* buffer;
    };

    void place( std::size_t index, const Entry& entry ) noexcept;
    void siftUp( std::size_t index, const Entry& entry ) noexcept;
    void siftDown( std::size_t index, const Entry& entry ) noexcept;
    void setKey( MbBufferImp& buffer, std::uint64_t key ) noexcept;
    bool isOldest( MbBufferImp& buffer ) noexcept;

    // Written by each last unlock: on a cache line of its own.
    alignas( 64 ) std::atomic<std::uint64_t> _clock{ 1 };
    alignas( 64 ) std::vector<Entry> _heap;
};

} // namespace Qv
