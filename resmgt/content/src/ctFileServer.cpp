#include <resmgt/content/ctFileServer.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/values/uuid.h>
#include <resmgt/content/src/ctCacheWalk.h>
#include <resmgt/content/src/ctPieceSums.h>
#include <resmgt/content/src/ctTileFolder.h>
#include <resmgt/content/src/ctTileNames.h>
#include <resmgt/content/src/ctVariables.h>
#include <resmgt/content/src/sessionIndex.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osMTFileWriter.h>

#include <atomic>
#include <bit>

namespace Qv {

namespace {

EnvIntVar unbufferedIO( __FILE__, "QV_UNBUFFERED_IO", -1 );
EnvIntVar blockSize( __FILE__, "QV_IO_BLOCKSIZE", -1 );
EnvIntVar alignment( __FILE__, "QV_IO_ALIGNMENT", -1 );
EnvIntVar levels( __FILE__, "QV_IO_LEVELS", 0 );
EnvIntVar bits( __FILE__, "QV_IO_BITS", 8 );
EnvUInt64Var mostBytes( __FILE__, "QV_IO_MAX_BYTES", CtSpaceBudget::UNLIMITED );
EnvIntVar verify( __FILE__, "QV_IO_VERIFY", 0 );

/// Of `clear`. Each finds most of what is left, so that more of them only chase what other
/// processes make meanwhile.
constexpr int MOST_PASSES = 20;

std::uint64_t takeNumber() {
    static std::atomic<std::uint64_t> last = 0;
    return last.fetch_add( 1, std::memory_order_relaxed ) + 1;
}

/// Removes a probe; that another process was quicker is no failure, and what can't be removed
/// disturbs nobody.
void removeProbe( OsFile& probe ) {
    try {
        probe.remove();
    } catch( const OsFileEx::ExInvalidPath& ) {
    } catch( const ExSysError& failure ) {
        QV_LOG( Content, Warning, failure.getReason() );
    }
}

} // namespace

CtFileOptions CtFileOptions::getConfigured() {
    const auto make = [] {
        return CtFileOptions{
            Qv::unbufferedIO.getValue(), Qv::blockSize.getValue(), Qv::alignment.getValue(),
            levels.getValue(),           bits.getValue(),          Qv::mostBytes.getValue(),
            verify.getValue() != 0 };
    };
    return readVariables( { &Qv::unbufferedIO, &Qv::blockSize, &Qv::alignment, &levels, &bits,
                            &Qv::mostBytes, &verify },
                          make );
}

CtFileServer::CtFileServer( const LiString& configuration, const CtEngineOptions& options,
                            const CtFileOptions& files )
    : CtNonAsyncServer( configuration, options )
    , _root( configuration )
    , _number( takeNumber() ) {
    try {
        initialize( files );
    } catch( ... ) {
        drain();
        throw;
    }
}

CtFileServer::~CtFileServer() noexcept( false ) {
    drain();
}

void CtFileServer::initialize( const CtFileOptions& files ) {
    _nbLevels = files.nbLevels;
    _nbBits = files.nbBits;
    QV_ASSERT( 0 <= _nbLevels );
    QV_ASSERT( _nbLevels <= 4 );
    QV_ASSERT( 0 <= _nbBits );
    QV_ASSERT( _nbBits <= 12 );
    const OsFileTypes::UnbufferedInfo volume = probe();
    _session = SessionIndex::share( _root, files.mostBytes );
    applyOptions( files, volume );
    _levelMask = ( std::uint64_t( 1 ) << _nbBits ) - 1;
    _folder = std::make_unique<CtTileFolder>( _root, static_cast<std::uint32_t>( _nbLevels ),
                                              static_cast<std::uint32_t>( _nbBits ) );
    if( files.isVerifying ) {
        _sums = std::make_unique<CtPieceSums>();
    }
}

/// Makes and removes a file under a name that no other process can have.
OsFileTypes::UnbufferedInfo CtFileServer::probe() const {
    const Uuid name( Uuid::CREATE );
    OsFile file( _root + OsFilePath( name.toString() + CtTileNames::PROBE ) );
    file.create( OsFileTypes::Permissions( 3, 0, 0 ), true );
    try {
        const OsFileTypes::UnbufferedInfo volume = file.getUnbufferedInfo();
        removeProbe( file );
        return volume;
    } catch( ... ) {
        removeProbe( file );
        throw;
    }
}

void CtFileServer::applyOptions( const CtFileOptions& files,
                                 const OsFileTypes::UnbufferedInfo& volume ) {
    const auto orElse = []( int setting, std::uint64_t advice ) {
        return setting >= 0 ? static_cast<std::uint32_t>( setting )
                            : static_cast<std::uint32_t>( advice );
    };
    _unbufferedIO = files.unbufferedIO >= 0 ? files.unbufferedIO != 0 : volume.supported;
    _alignment = orElse( files.alignment, volume.sectorSize );
    _blockSize = orElse( files.blockSize, volume.clusterSize );
    _sectorSize = static_cast<std::uint32_t>( volume.sectorSize );
    QV_ASSERT( _blockSize > 0 );
    QV_ASSERT( std::has_single_bit( _alignment ) );
    _nbBlocksPerChunk = static_cast<std::uint32_t>( volume.maxTransferSize / _blockSize );
    QV_ASSERT( _nbBlocksPerChunk > 0 );
}

std::uint32_t CtFileServer::getSession() const noexcept {
    return _session->getSession();
}

std::uint64_t CtFileServer::getFreeSpace() const {
    return OsFsUtils::getFreeSpace( _root ) >> 10U;
}

unsigned int CtFileServer::getNbSerialIds() const {
    const OPtr<Set<CtSerialId>> ids( getSerialIds() );
    return static_cast<unsigned int>( ids->size() );
}

OPtrRet<Set<CtSerialId>> CtFileServer::getSerialIds() const {
    QV_ASSERT( _nbLevels == 0 );
    OPtr<Set<CtSerialId>> result( new Set<CtSerialId> );
    CtCacheWalk::listFiles( _root, [&result]( const char* name ) {
        if( const auto halves = CtTileNames::parseHalves( name ) ) {
            const auto& [highId, lowId] = *halves;
            QV_ASSERT( highId <= UINT32_MAX );
            QV_ASSERT( lowId <= UINT32_MAX );
            QV_ASSERT( result->insert( CtSerialId( ( highId << 32 ) | lowId ) ).second );
        }
    } );
    return result;
}

std::uint64_t CtFileServer::roundUp( unsigned int size ) const noexcept {
    return ( std::uint64_t( size ) + _blockSize - 1 ) / _blockSize * _blockSize;
}

CtServer::NewTile CtFileServer::createTile( unsigned int size ) {
    const std::uint64_t space = roundUp( size );
    CtSerialId id = _session->takeId();
    while( !tryCreate( id, space ) ) {
        id = _session->takeId();
    }
    return { CtStTileId( id, size ), CtHintPtr() };
}

/// False if there is something of that name.
bool CtFileServer::tryCreate( const CtSerialId& id, std::uint64_t size ) const {
    CtSpaceBudget::Reservation space( _session->getBudget(), _root.toString(), id, size );
    if( !space.isHad() ) {
        throw CtEx::ExNotEnoughSpace( QV_HERE, "The limit of QV_IO_MAX_BYTES is reached." );
    }
    try {
        if( !tryMakeFile( id, size ) ) {
            return false;
        }
    } catch( const ExBase& failure ) {
        throw CtEx::ExNotEnoughSpace( QV_HERE, failure.getReason() );
    }
    space.keep();
    return true;
}

bool CtFileServer::tryMakeFile( const CtSerialId& id, std::uint64_t size ) const {
    const OsFilePath path = _folder->getPath( id );
    CtTileFolder::NewFile made( *_folder, id );
    if( made.isTaken() ) {
        return false;
    }
    if( !made.getFile().isOpen() ) {
        throw ExSysErrorWindows( QV_HERE, "CtFileServer::createTile", path.getChars() );
    }
    OsMTFileWriter file( path, made.getFile().release(), _unbufferedIO );
    file.reserve( size );
    made.keep();
    return true;
}

void CtFileServer::removeTile( const CtSerialId& id ) {
    if( _folder->remove( id ) ) {
        forget( id );
        return;
    }
    const bool isGone = CtTileFolder::isMissing();
    const ExSysErrorWindows failure( QV_HERE, "CtFileServer::removeTile",
                                     _folder->getPath( id ).getChars() );
    if( isGone ) {
        // Others were quicker.
        forget( id );
    }
    throw failure;
}

/// What is known of a block that is gone.
void CtFileServer::forget( const CtSerialId& id ) {
    _session->getBudget().giveBack( _root.toString(), id );
    if( _sums != nullptr ) {
        _sums->forget( id );
    }
}

bool CtFileServer::isValid( const CtStTileId& tile, int mode ) const {
    const std::optional<std::uint64_t> size = _folder->getSize( tile.getSerialId() );
    if( !size && !CtTileFolder::isMissing() ) {
        throw ExSysErrorWindows( QV_HERE, "CtFileServer::isValid",
                                 _folder->getPath( tile.getSerialId() ).getChars() );
    }
    return size && ( mode == ANY_SIZE || *size == roundUp( tile.getSize() ) );
}

void CtFileServer::clear() {
    const auto visit = []( const CtCacheEntry& entry ) {
        const bool isForeign =
            entry.kind == CtCacheEntry::FOREIGN || entry.kind == CtCacheEntry::INDEX;
        return isForeign ? CtCacheWalk::Fate::STAYS : CtCacheWalk::Fate::GOES;
    };
    // Some volumes pass over entries when others go meanwhile.
    for( int pass = 0; pass < MOST_PASSES; ++pass ) {
        if( CtCacheWalk::run( _root, CtCacheWalk::Sizes::NOT_ASKED_FOR, visit ) == 0 ) {
            break;
        }
    }
    _session->getBudget().giveAllBack( _root.toString() );
    if( _sums != nullptr ) {
        _sums->forgetAll();
    }
    _session->refresh();
}

} // namespace Qv
