#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

namespace Qv {

/// Blocks of memory, of which those that are given back are kept for the next ones of their size.
///
/// Lock: the owner's.
class MbBlocks {
public:
    MbBlocks() = default;
    MbBlocks( const MbBlocks& ) = delete;
    MbBlocks& operator=( const MbBlocks& ) = delete;
    ~MbBlocks();

    /// A block of `size` bytes, or null where there is no memory. Gives up kept ones until no more
    /// than `room` bytes are kept, the answer included if it is new.
    void* take( std::size_t size, std::uint64_t room );
    /// Keeps a block that `take( size )` has answered; gives it up where there is no memory for the
    /// entry.
    void giveBack( void* block, std::size_t size ) noexcept;
    /// Gives up what is kept until no more than `bound` bytes are.
    void keepAtMost( std::uint64_t bound ) noexcept;

private:
    /// The first word of a kept block leads to the next one of its size.
    struct Kept {
        Kept* next;
    };

    /// By size, so that the largest go first. An entry is empty only while a block of its size is
    /// out, so there are never more entries than blocks.
    std::map<std::size_t, Kept*> _kept;
    std::uint64_t _keptBytes = 0;
};

} // namespace Qv
