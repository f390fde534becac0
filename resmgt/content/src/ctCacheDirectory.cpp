#include <resmgt/content/ctCacheDirectory.h>

#include <resmgt/content/src/ctCacheWalk.h>
#include <resmgt/content/src/ctSessionFile.h>
#include <resmgt/content/src/ctTileNames.h>

#include <map>
#include <optional>
#include <string>

namespace Qv {

using Fate = CtCacheWalk::Fate;
using Locking = CtSessionFile::Locking;

namespace {

/// How long somebody may hold the index; in seconds.
constexpr double LONGEST_WAIT = 5.0;

/// How many session numbers there have been since the index was made.
std::uint64_t countSessions( CtSessionFile& index ) {
    const Locking locking = index.lock( LONGEST_WAIT );
    const std::optional<std::string> text = index.read();
    if( locking == Locking::HAD ) {
        index.unlock();
    }
    if( !text ) {
        return 0;
    }
    const auto last = CtSessionFile::parse( *text );
    if( !last ) {
        return 0;
    }
    return *last > CtSessionFile::LAST_SESSION ? std::uint64_t( UINT32_MAX ) + 1 : *last + 1;
}

} // namespace

CtCacheDirectory::CtCacheDirectory( const OsFilePath& path )
    : _path( path )
    , _index( std::make_unique<CtSessionFile>( path, CtSessionFile::Access::WRITE ) )
    , _nbKnown( _index->isOpen() ? countSessions( *_index ) : 0 ) {}

CtCacheDirectory::~CtCacheDirectory() = default;

void CtCacheDirectory::visit(
    const std::function<void( const CtCacheEntry& entry )>& visitor ) const {
    CtCacheWalk::run( _path, CtCacheWalk::Sizes::ASKED_FOR, [&]( const CtCacheEntry& entry ) {
        visitor( entry );
        return Fate::STAYS;
    } );
}

CtCacheDirectory::State CtCacheDirectory::getState( std::uint32_t session ) const {
    const Locking locking = _index->isOpen() ? _index->look( session ) : Locking::IMPOSSIBLE;
    if( locking == Locking::HELD_BY_OTHERS ) {
        return State::LIVING;
    }
    return locking == Locking::HAD && session < _nbKnown ? State::DEAD : State::UNKNOWN;
}

/// Says which blocks may go. The session of the latest one stays claimed: who begins to be it waits
/// until that block has gone, and the next one stays.
class CtCacheDirectory::Pruning {
public:
    Pruning( const CtCacheDirectory& cache, bool isDryRun )
        : _cache( cache )
        , _isDryRun( isDryRun ) {}
    Pruning( const Pruning& ) = delete;
    Pruning& operator=( const Pruning& ) = delete;
    ~Pruning() { release(); }

    bool mayGo( std::uint32_t session ) {
        if( _claimed != session ) {
            release();
        }
        const auto [known, isNew] = _areDead.try_emplace( session, false );
        if( isNew ) {
            // Who may not write the index can claim nothing.
            known->second = _cache.getState( session ) == State::DEAD &&
                            ( !_isDryRun || _cache._index->isWritable() );
        }
        if( known->second && !_isDryRun ) {
            known->second = claim( session );
        }
        return known->second;
    }

private:
    bool claim( std::uint32_t session ) {
        CtSessionFile& index = *_cache._index;
        if( _claimed ? index.look( session ) == Locking::HAD : index.claim( session ) ) {
            _claimed = session;
            return true;
        }
        release();
        return false;
    }
    void release() {
        if( _claimed ) {
            _cache._index->release( *_claimed );
            _claimed.reset();
        }
    }

    const CtCacheDirectory& _cache;
    const bool _isDryRun;
    std::map<std::uint32_t, bool> _areDead;
    std::optional<std::uint32_t> _claimed;
};

CtCacheDirectory::Pruned CtCacheDirectory::prune( bool isDryRun ) {
    Pruned pruned;
    Pruning pruning( *this, isDryRun );
    CtCacheWalk::run( _path, CtCacheWalk::Sizes::ASKED_FOR, [&]( const CtCacheEntry& entry ) {
        if( entry.kind == CtCacheEntry::PROBE ) {
            ++pruned.nbProbes;
        } else if( entry.kind == CtCacheEntry::BLOCK &&
                   pruning.mayGo( CtTileNames::getSession( entry.id ) ) ) {
            ++pruned.nbBlocks;
            pruned.nbBytes += entry.size;
        } else {
            return Fate::STAYS;
        }
        return isDryRun ? Fate::STAYS : Fate::GOES;
    } );
    return pruned;
}

} // namespace Qv
