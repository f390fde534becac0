#include <tools/qvcomp/tileCache.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/log.h>

#include <resmgt/content/ctCacheDirectory.h>

#include <cerrno>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace Qv::Comp {

namespace {

/// A cache line of any processor.
constexpr std::size_t BUFFERED_ALIGNMENT = 128;
/// The largest block of today's disks.
constexpr std::size_t UNBUFFERED_ALIGNMENT = 4096;

/// Makes the folder where there is none, and refuses one that others may enter.
OsFilePath makeFolder( const OsFilePath& scratchFolder ) {
    OsFilePath folder =
        scratchFolder.getAbsolutePath() + OsFilePath( "qvcomp-" + std::to_string( ::geteuid() ) );
    struct stat facts {};
    const bool isMade = ::mkdir( folder.getChars(), S_IRWXU ) == 0 || errno == EEXIST;
    if( !isMade || ::lstat( folder.getChars(), &facts ) != 0 ) {
        throw Failure( Tag::SCRATCH, scratchFolder.toString(),
                       std::generic_category().message( errno ) );
    }
    if( !S_ISDIR( facts.st_mode ) || facts.st_uid != ::geteuid() ||
        ( facts.st_mode & ( S_IRWXG | S_IRWXO ) ) != 0 ) {
        throw Failure( Tag::SCRATCH_FOREIGN, folder.toString() );
    }
    return folder;
}

/// A command that can't clean up can still work.
void removeRemains( const OsFilePath& folder ) {
    try {
        const CtCacheDirectory::Pruned pruned = CtCacheDirectory( folder ).prune( false );
        if( pruned.nbBlocks > 0 ) {
            QV_LOG( Qvcomp, Informational, "removed ", pruned.nbBlocks, " blocks of ",
                    pruned.nbBytes, " bytes that dead commands have left" );
        }
    } catch( const ExBase& failure ) {
        QV_LOG( Qvcomp, Warning,
                "what dead commands have left can't be removed: ", failure.getReason() );
    }
}

} // namespace

TileCache::Bound TileCache::getBound( const Settings& settings ) {
    const std::uint64_t configured = CtFileOptions::getConfigured().mostBytes;
    return settings.limit && *settings.limit <= configured
               ? Bound{ *settings.limit, "--scratch-limit" }
               : Bound{ configured, "QV_IO_MAX_BYTES" };
}

std::unique_ptr<CtFileServer> TileCache::makeServer( const OsFilePath& folder,
                                                     bool isUnbuffered ) const {
    CtFileOptions options = CtFileOptions::getConfigured();
    options.unbufferedIO = isUnbuffered ? -1 : 0;
    // Buffered transfers have no unit, so that tiles of any size share files.
    options.alignment = isUnbuffered ? -1 : 1;
    options.blockSize = isUnbuffered ? -1 : 1;
    options.mostBytes = _bound.bytes;
    auto server = std::make_unique<CtFileServer>( LiString( folder.toString() ),
                                                  CtEngineOptions::getConfigured(), options );
    // Standard output is the report's.
    server->setPrintingFailures( false );
    return server;
}

TileCache::TileCache( const Settings& settings )
    : _settings( settings )
    , _bound( getBound( settings ) )
    , _scratchFolder( settings.scratchFolder.toString() ) {
    const OsFilePath folder = makeFolder( settings.scratchFolder );
    access( [&] { start( folder ); } );
}

void TileCache::start( const OsFilePath& folder ) {
    removeRemains( folder );
    _server = makeServer( folder, _settings.isUnbuffered );
    if( _server->getAlignment() > getAlignment( _settings.isUnbuffered ) ) {
        _server.reset();
        _server = makeServer( folder, false );
    }
}

void TileCache::raise( const ExBase& failure ) const {
    const std::string reason = failure.getReason();
    if( reason.ends_with( "QV_IO_MAX_BYTES is reached." ) ) {
        throw Failure( Tag::SCRATCH_FULL, _scratchFolder, _bound.bytes, _bound.name );
    }
    throw Failure( Tag::SCRATCH, _scratchFolder, getSystemText( failure ) );
}

std::size_t TileCache::getAlignment( bool isUnbuffered ) noexcept {
    return isUnbuffered ? UNBUFFERED_ALIGNMENT : BUFFERED_ALIGNMENT;
}

} // namespace Qv::Comp
