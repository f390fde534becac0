#include <resmgt/osal/src/osOpenFile.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/trace/trace.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/src/osChunkedTransfer.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <utility>

namespace Qv {

using OsFileCalls::Outcome;
using OsFileTypes::FROM_CURRENT;

namespace {

/// How many bytes there can be from `offset` on, which a file's last offset limits.
unsigned long long roomFrom( long long offset ) {
    return static_cast<unsigned long long>( std::numeric_limits<long long>::max() - offset );
}

} // namespace

OsOpenFile::OsOpenFile( const OsFilePath& path, const Texts& texts )
    : _path( path )
    , _texts( texts ) {
    if( _path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, texts.noPath );
    }
    // Fills the path's cache while nobody else sees it: threads that report failures at once only
    // read it.
    static_cast<void>( _path.toString() );
}

OsOpenFile::OsOpenFile( const OsFilePath& path, OsFileCalls::Transfers transfers, bool unbuffered,
                        const Texts& texts )
    : OsOpenFile( path, texts ) {
    const OsFile::FileDescriptorManipGuard guard;
    take( OsFileCalls::openForReading( _path, transfers, unbuffered ) );
}

OsOpenFile::OsOpenFile( const OsFilePath& path, OsFileCalls::Transfers transfers,
                        const OsFileTypes::Permissions& permissions, bool truncate, bool unbuffered,
                        const Texts& texts )
    : OsOpenFile( path, texts ) {
    const OsFile::FileDescriptorManipGuard guard;
    take( OsFileCalls::openForWriting( _path, transfers, permissions, truncate, unbuffered ) );
}

std::unique_ptr<OsOpenFile> OsOpenFile::adopt( const OsFilePath& path, OsFileTypes::Handle file,
                                               bool unbuffered, const Texts& texts ) {
    std::unique_ptr<OsOpenFile> adopted;
    try {
        adopted = std::make_unique<OsOpenFile>( path, texts );
    } catch( ... ) {
        OsFileCalls::close( file );
        throw;
    }
    adopted->take( OsFileCalls::adopt( file, unbuffered ) );
    return adopted;
}

OsOpenFile::~OsOpenFile() {
    closeLeftFile( _path, _handle, _texts.close );
}

void OsOpenFile::take( const OsFileCalls::Opened& opened ) {
    if( opened.handle == OsFileTypes::INVALID_HANDLE ) {
        raiseSystemError( _texts.open );
    }
    _handle = opened.handle;
    _alignment = opened.alignment;
}

void OsOpenFile::checkOpen( const char* closed ) const {
    if( _handle == OsFileTypes::INVALID_HANDLE ) {
        errno = EBADF;
        throw ExSysErrorANSI( QV_HERE, closed, _path.getChars() );
    }
}

/// Raises ExSysErrorGeneric for an unbuffered transfer that is off.
void OsOpenFile::checkAlignment( const void* buffer, long long offset, unsigned long long size,
                                 const char* where ) const {
    // An alignment is a power of two.
    const auto all = reinterpret_cast<std::uintptr_t>( buffer ) |
                     static_cast<unsigned long long>( offset ) | size;
    if( all % _alignment != 0 ) {
        char reason[160];
        std::snprintf( reason, sizeof( reason ),
                       "Unbuffered transfer is off: buffer %p, offset %lld and size %llu must be "
                       "multiples of %llu",
                       buffer, offset, size, _alignment );
        throw ExSysErrorGeneric( QV_HERE, reason, where, _path.getChars() );
    }
}

void OsOpenFile::raiseSystemError( const char* where ) const {
    throw ExSysErrorWindows( QV_HERE, where, _path.getChars() );
}

unsigned long long OsOpenFile::read( void* buffer, unsigned long long toRead, const Where& where ) {
    checkOpen( where.closed );
    QV_ASSERT_TEXT( toRead <= LARGEST_TRANSFER, "toRead <= std::numeric_limits<DWORD>::max()" );
    if( _alignment != 1 ) {
        // The end of a file is seldom at a multiple, and a read gets there all the same.
        const long long position = findPosition( 0, FROM_CURRENT, where.failed );
        const bool isAtEnd = OsFileCalls::isAtEnd( _handle, position );
        checkAlignment( buffer, isAtEnd ? 0 : position, toRead, where.failed );
        if( isAtEnd ) {
            return 0;
        }
    }
    const auto request = [&]( unsigned long long done, unsigned long long count ) {
        return OsFileCalls::read( _handle, static_cast<char*>( buffer ) + done, count );
    };
    const Transferred result = transferInChunks( toRead, _alignment, LastRequest::FINAL, request );
    if( result.outcome != Outcome::MOVED ) {
        raiseSystemError( where.failed );
    }
    return result.done;
}

void OsOpenFile::write( const void* buffer, unsigned long long toWrite, const Where& where ) {
    checkOpen( where.closed );
    QV_ASSERT_TEXT( toWrite <= LARGEST_TRANSFER, "toWrite <= std::numeric_limits<DWORD>::max()" );
    if( _alignment != 1 ) {
        checkAlignment( buffer, findPosition( 0, FROM_CURRENT, where.failed ), toWrite,
                        where.failed );
    }
    const auto request = [&]( unsigned long long done, unsigned long long count ) {
        return OsFileCalls::write( _handle, static_cast<const char*>( buffer ) + done, count );
    };
    const Transferred result = transferInChunks( toWrite, 1, LastRequest::FINAL, request );
    if( result.outcome == Outcome::DISK_FULL ) {
        Assertions::throwSysAssertionFailed( QV_HERE, "toWrite == 0", errno );
    }
    if( result.outcome != Outcome::MOVED ) {
        raiseSystemError( where.failed );
    }
    toWrite -= result.done;
    QV_ASSERT( toWrite == 0 );
}

unsigned long long OsOpenFile::readAt( void* buffer, long long offset, unsigned long long toRead,
                                       const char* closed ) {
    const char* const where = "OsFileReader::performRead( multi-thread )";
    checkOpen( closed );
    QV_ASSERT_TEXT( toRead <= LARGEST_TRANSFER, "toRead <= std::numeric_limits< DWORD >::max()" );
    if( toRead == 0 ) {
        return 0;
    }
    checkAlignment( buffer, offset, toRead, where );
    // Nothing lies behind the last offset, but the system would refuse to look.
    const unsigned long long readable =
        offset < 0 ? toRead : std::min( toRead, roomFrom( offset ) );
    const auto request = [&]( unsigned long long done, unsigned long long count ) {
        return OsFileCalls::readAt( _handle, static_cast<char*>( buffer ) + done,
                                    offset + static_cast<long long>( done ), count );
    };
    const Transferred result =
        transferInChunks( readable, _alignment, LastRequest::HALVED, request );
    if( result.outcome != Outcome::MOVED ) {
        raiseSystemError( where );
    }
    return result.done;
}

void OsOpenFile::writeAt( const void* buffer, long long offset, unsigned long long toWrite ) {
    const char* const where = "OsFileReader::performWrite( multi-threaded )";
    checkOpen( "OsFileAccessor::write" );
    QV_ASSERT_TEXT( toWrite <= LARGEST_TRANSFER, "toWrite <= std::numeric_limits< DWORD >::max()" );
    if( toWrite == 0 ) {
        return;
    }
    checkAlignment( buffer, offset, toWrite, where );
    if( offset > 0 && toWrite > roomFrom( offset ) ) {
        errno = EOVERFLOW;
        raiseSystemError( where );
    }
    const auto request = [&]( unsigned long long done, unsigned long long count ) {
        return OsFileCalls::writeAt( _handle, static_cast<const char*>( buffer ) + done,
                                     offset + static_cast<long long>( done ), count );
    };
    const Transferred result = transferInChunks( toWrite, 1, LastRequest::HALVED, request );
    if( result.outcome != Outcome::MOVED ) {
        raiseSystemError( where );
    }
    toWrite -= result.done;
    QV_ASSERT( toWrite == 0 );
}

long long OsOpenFile::seek( long long offset, OsFileTypes::SeekMode mode, const Where& where ) {
    checkOpen( where.closed );
    return findPosition( offset, mode, where.failed );
}

long long OsOpenFile::findPosition( long long offset, OsFileTypes::SeekMode mode,
                                    const char* where ) {
    const long long position = OsFileCalls::seek( _handle, offset, mode );
    if( position < 0 ) {
        raiseSystemError( where );
    }
    return position;
}

void OsOpenFile::reserve( unsigned long long size, const Where& where ) {
    checkOpen( where.closed );
    if( !OsFileCalls::reserve( _handle, size ) ) {
        raiseSystemError( where.failed );
    }
}

void OsOpenFile::reserveAndSeek( unsigned long long size, const Where& where ) {
    const long long former = seek( 0, FROM_CURRENT, where );
    findPosition( static_cast<long long>( size ), OsFileTypes::FROM_BEGINNING, where.failed );
    try {
        reserve( size, where );
    } catch( ... ) {
        OsFileCalls::seek( _handle, former, OsFileTypes::FROM_BEGINNING );
        throw;
    }
}

void OsOpenFile::close( const char* closed ) {
    checkOpen( closed );
    closeFile( _path, _handle, _texts.close );
}

unsigned long long OsOpenFile::getSize() {
    // Acquire and release: who sees the flag sees the size.
    if( !_isSizeKnown.load( std::memory_order_acquire ) ) {
        _size.store( OsFile( _path ).getSize(), std::memory_order_relaxed );
        _isSizeKnown.store( true, std::memory_order_release );
    }
    return _size.load( std::memory_order_relaxed );
}

void closeFile( const OsFilePath& path, OsFileTypes::Handle& handle, const char* where ) {
    const OsFileTypes::Handle open = std::exchange( handle, OsFileTypes::INVALID_HANDLE );
    if( !OsFileCalls::close( open ) ) {
        throw ExSysErrorWindows( QV_HERE, where, path.getChars() );
    }
}

void closeLeftFile( const OsFilePath& path, OsFileTypes::Handle& handle,
                    const char* where ) noexcept {
    if( handle != OsFileTypes::INVALID_HANDLE ) {
        try {
            closeFile( path, handle, where );
        } catch( ... ) {
            Trace::printCurrentException( where, QV_HERE );
        }
    }
}

} // namespace Qv
