#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/content/ctSerialId.h>

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>

namespace Qv {

/// How many bytes of blocks the process may have reserved at a time, in all its directories. What
/// its servers remove, or find gone when they would, counts no more; blocks of other processes
/// never count.
///
/// Threads: any.
/// Cost:    nothing without a limit; else a lock and some 50 bytes of memory for each block.
class CtSpaceBudget {
public:
    class Reservation;

    static constexpr std::uint64_t UNLIMITED = UINT64_MAX;

    explicit CtSpaceBudget( std::uint64_t limit )
        : _limit( limit ) {}

    bool isLimited() const noexcept { return _limit != UNLIMITED; }
    /// False, and nothing is taken, where the limit would be passed.
    bool take( const std::string& directory, CtSerialId id, std::uint64_t bytes );
    /// Nothing happens for a block that takes none.
    void giveBack( const std::string& directory, CtSerialId id );
    void giveAllBack( const std::string& directory );

private:
    const std::uint64_t _limit;
    const LkLock _lock{ "ct-space-budget" };
    std::uint64_t _taken QV_GUARDED_BY( _lock ) = 0;
    /// The bytes of each block of a directory.
    using Blocks = std::unordered_map<std::uint64_t, std::uint64_t>;
    std::map<std::string, Blocks> _directories QV_GUARDED_BY( _lock );
};

/// The space of one block, given back at the end of its scope unless it is kept.
class CtSpaceBudget::Reservation {
public:
    /// `directory` must outlive it.
    Reservation( CtSpaceBudget& budget, const std::string& directory, CtSerialId id,
                 std::uint64_t bytes )
        : _budget( budget )
        , _directory( directory )
        , _id( id )
        , _isHad( budget.take( directory, id, bytes ) )
        , _isKept( !_isHad ) {}
    Reservation( const Reservation& ) = delete;
    Reservation& operator=( const Reservation& ) = delete;
    ~Reservation() {
        if( !_isKept ) {
            _budget.giveBack( _directory, _id );
        }
    }

    bool isHad() const noexcept { return _isHad; }
    void keep() noexcept { _isKept = true; }

private:
    CtSpaceBudget& _budget;
    const std::string& _directory;
    const CtSerialId _id;
    const bool _isHad;
    bool _isKept;
};

} // namespace Qv
