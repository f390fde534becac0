#include <resmgt/content/src/sessionIndex.h>

#include <base/failure/qvHere.h>
#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <resmgt/content/ctEx.h>
#include <resmgt/content/src/ctTileNames.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/messages/msgProtocol.h>

#include <algorithm>
#include <string>
#include <utility>

namespace Qv {

using Locking = CtSessionFile::Locking;

namespace {

/// The process's record, kept by its servers.
struct Shared {
    const LkLock lock{ "ct-session-index" };
    std::weak_ptr<SessionIndex> record QV_GUARDED_BY( lock );
};

Shared& shared() {
    static Shared instance;
    return instance;
}

} // namespace

std::shared_ptr<SessionIndex> SessionIndex::share( const OsFilePath& directory,
                                                   std::uint64_t mostBytes ) {
    std::shared_ptr<SessionIndex> record;
    {
        const LkGuard<const LkLock> guard( shared().lock );
        record = shared().record.lock();
        if( record != nullptr ) {
            record->join( directory );
            return record;
        }
        record = std::make_shared<SessionIndex>( directory, mostBytes );
        shared().record = record;
    }
    if( !record->_isKept ) {
        record->announceFailure();
    }
    return record;
}

SessionIndex::SessionIndex( const OsFilePath& directory, std::uint64_t mostBytes )
    : _directory( directory )
    , _budget( mostBytes )
    , _isKept( renew() ) {}

CtSerialId SessionIndex::getNextId( std::uint64_t last ) {
    if( ( last & UINT32_MAX ) == UINT32_MAX ) {
        throw CtEx::ExNotEnoughSpace( QV_HERE, "This session has given out all its numbers." );
    }
    return CtSerialId( last + 1 );
}

CtSerialId SessionIndex::takeId() {
    std::uint64_t last = _last.load( std::memory_order_relaxed );
    while( !_last.compare_exchange_weak( last, getNextId( last ), std::memory_order_relaxed ) ) {}
    return CtSerialId( last + 1 );
}

std::uint32_t SessionIndex::getSession() const noexcept {
    return CtTileNames::getSession( CtSerialId( _last.load( std::memory_order_relaxed ) ) );
}

void SessionIndex::refresh() {
    if( !renew() ) {
        announceFailure();
    }
}

/// Opens the index anew, since it may have been lost. The lock on it ends with its own open file,
/// whatever becomes of the marks.
bool SessionIndex::renew() {
    const LkGuard<const LkLock> guard( _lock );
    CtSessionFile index( _directory, CtSessionFile::Access::MAKE );
    const Locking locking =
        index.isOpen() && index.isWritable() ? index.lock( LONGEST_WAIT ) : Locking::IMPOSSIBLE;
    const bool isKept = advance( index, locking );
    // Before the index is free again: what it says lives is marked.
    CtSessionFile marks( _directory, CtSessionFile::Access::WRITE );
    if( !marks.isOpen() && _files.empty() ) {
        // No further descriptor can be had: the one that holds the lock keeps the mark too.
        std::swap( marks, index );
    }
    if( _files.empty() ) {
        _files.push_back( std::move( marks ) );
    } else if( marks.isOpen() ) {
        _files.front() = std::move( marks );
    }
    for( CtSessionFile& file : _files ) {
        mark( file );
    }
    if( locking == Locking::HAD && !index.isOpen() && !_files.front().unlock() ) {
        // Rather without a mark than with a lock that nobody gets any more.
        std::swap( _files.front(), index );
    }
    return isKept;
}

/// Takes the next session; false where its number couldn't be written. On a volume without locks it
/// is written all the same: only processes that start at the same moment can then be one session.
/// Where the index can't be read it isn't written: what it says may be larger.
bool SessionIndex::advance( CtSessionFile& index, Locking locking ) {
    const std::optional<std::string> text = index.isOpen() ? index.read() : std::nullopt;
    const auto stored = text ? CtSessionFile::parse( *text ) : std::nullopt;
    if( stored == CtSessionFile::FROZEN ) {
        begin( static_cast<std::uint32_t>( *stored & UINT32_MAX ) );
        return true;
    }
    if( text && !stored && !text->empty() ) {
        QV_LOG( Content, Warning, index.getPath().toString(), " isn't a number" );
    }
    const std::uint32_t next = CtSessionFile::getNext( getLast( stored ) );
    const bool isKept =
        text && index.isWritable() && locking != Locking::HELD_BY_OTHERS && index.write( next );
    begin( next );
    return isKept;
}

/// The last number that is known to be taken: this record's own may not be in the index.
std::optional<std::uint64_t> SessionIndex::getLast( std::optional<std::uint64_t> stored ) const {
    const std::uint32_t own = getSession();
    const bool hasOwn = !_files.empty() && own != CtSessionFile::LAST_SESSION;
    return hasOwn ? std::max<std::uint64_t>( stored.value_or( own ), own ) : stored;
}

void SessionIndex::begin( std::uint32_t session ) {
    _last.store( CtTileNames::makeId( session, 0 ), std::memory_order_relaxed );
}

/// A server in another directory than the record's.
void SessionIndex::join( const OsFilePath& directory ) {
    const LkGuard<const LkLock> guard( _lock );
    const auto isThere = [&]( const CtSessionFile& file ) {
        return file.getPath() == directory + OsFilePath( CtTileNames::INDEX );
    };
    if( std::none_of( _files.begin(), _files.end(), isThere ) ) {
        _files.emplace_back( directory, CtSessionFile::Access::MAKE );
        mark( _files.back() );
    }
}

void SessionIndex::mark( CtSessionFile& file ) const {
    if( !file.isOpen() || file.mark( getSession(), LONGEST_WAIT ) != Locking::HAD ) {
        QV_LOG( Content, Warning, "Session ", getSession(), " can't be marked as living in ",
                file.getPath().toString() );
    }
}

void SessionIndex::announceFailure() const {
    const OsFilePath path = _directory + OsFilePath( CtTileNames::INDEX );
    MsgWarning( "%1" )
        .substitute( "Error reading/writing to " + path.toString() +
                     ".\n  We may overwrite existing results in mediacache." )
        .display();
}

} // namespace Qv
