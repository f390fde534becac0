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
    const auto last = text ? CtSessionFile::parse( *text ) : std::nullopt;
    if( locking == Locking::HAD ) {
        index.unlock();
    }
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

CtCacheDirectory::Pruned CtCacheDirectory::prune( bool isDryRun ) {
    Pruned pruned;
    std::map<std::uint32_t, bool> areDead;
    // What is claimed stays so until all has gone: nobody can begin to be that session.
    const auto isDead = [&]( std::uint32_t session ) {
        const auto [known, isNew] = areDead.try_emplace( session, false );
        if( isNew && getState( session ) == State::DEAD ) {
            known->second = isDryRun || _index->claim( session ) == Locking::HAD;
        }
        return known->second;
    };
    CtCacheWalk::run( _path, CtCacheWalk::Sizes::ASKED_FOR, [&]( const CtCacheEntry& entry ) {
        if( entry.kind == CtCacheEntry::PROBE ) {
            ++pruned.nbProbes;
        } else if( entry.kind == CtCacheEntry::BLOCK &&
                   isDead( CtTileNames::getSession( entry.id ) ) ) {
            ++pruned.nbBlocks;
            pruned.nbBytes += entry.size;
        } else {
            return Fate::STAYS;
        }
        return isDryRun ? Fate::STAYS : Fate::GOES;
    } );
    for( const auto& [session, isClaimed] : areDead ) {
        if( isClaimed && !isDryRun ) {
            _index->release( session );
        }
    }
    return pruned;
}

} // namespace Qv
