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

CtSerialId SessionIndex::takeId() {
    std::uint64_t last = _last.load( std::memory_order_relaxed );
    do {
        if( ( last & UINT32_MAX ) == UINT32_MAX ) {
            throw CtEx::ExNotEnoughSpace( QV_HERE, "This session has given out all its numbers." );
        }
    } while( !_last.compare_exchange_weak( last, last + 1, std::memory_order_relaxed ) );
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

/// Opens the index anew, since it may have been lost.
bool SessionIndex::renew() {
    const LkGuard<const LkLock> guard( _lock );
    CtSessionFile file( _directory, CtSessionFile::Access::MAKE );
    const bool isKept = advance( file );
    if( _files.empty() ) {
        _files.push_back( std::move( file ) );
    } else {
        _files.front() = std::move( file );
    }
    for( std::size_t i = 1; i < _files.size(); ++i ) {
        markAll( _files[i] );
    }
    return isKept;
}

/// Takes the next session, and marks it before the index is free again. False where the number
/// couldn't be written.
bool SessionIndex::advance( CtSessionFile& file ) {
    if( !file.isOpen() ) {
        begin( CtSessionFile::getNext( std::nullopt ) );
        return false;
    }
    const Locking locking = file.isWritable() ? file.lock( LONGEST_WAIT ) : Locking::IMPOSSIBLE;
    const bool isKept = advanceLocked( file, locking );
    markAll( file );
    if( locking == Locking::HAD ) {
        file.unlock();
    }
    return isKept;
}

/// On a volume without locks the number is written all the same: only processes that start at the
/// same moment can then be one session.
bool SessionIndex::advanceLocked( CtSessionFile& file, Locking locking ) {
    const std::optional<std::uint64_t> stored = file.read();
    if( stored == CtSessionFile::FROZEN ) {
        begin( static_cast<std::uint32_t>( *stored & UINT32_MAX ) );
        return true;
    }
    const std::uint32_t next = CtSessionFile::getNext( stored );
    begin( next );
    return file.isWritable() && locking != Locking::HELD_BY_OTHERS && file.write( next );
}

void SessionIndex::begin( std::uint32_t session ) {
    _last.store( CtTileNames::makeId( session, 0 ), std::memory_order_relaxed );
    if( std::find( _sessions.begin(), _sessions.end(), session ) == _sessions.end() ) {
        _sessions.push_back( session );
    }
}

/// A server in another directory than the record's.
void SessionIndex::join( const OsFilePath& directory ) {
    const LkGuard<const LkLock> guard( _lock );
    const auto isThere = [&]( const CtSessionFile& file ) {
        return file.getPath() == directory + OsFilePath( CtTileNames::INDEX );
    };
    if( std::none_of( _files.begin(), _files.end(), isThere ) ) {
        _files.emplace_back( directory, CtSessionFile::Access::MAKE );
        markAll( _files.back() );
    }
}

void SessionIndex::markAll( CtSessionFile& file ) const {
    for( const std::uint32_t session : _sessions ) {
        if( file.isOpen() && file.mark( session, LONGEST_WAIT ) != Locking::HAD ) {
            QV_LOG( Content, Warning, "Session ", session, " can't be marked as living in ",
                    file.getPath().toString() );
        }
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
