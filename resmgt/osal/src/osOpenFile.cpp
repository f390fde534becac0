#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/trace/trace.h>
#include <resmgt/osal/src/osChunkedTransfer.h>
#include <resmgt/osal/src/osOpenFile.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace Qv {

using OsFileCalls::Outcome;
using OsFileTypes::FROM_CURRENT;

void OsOpenFile::checkOpen( const char* where ) const {
    if( handle == OsFileTypes::INVALID_HANDLE ) {
        errno = EBADF;
        throw ExSysErrorANSI( QV_HERE, where, path.getChars() );
    }
}

void OsOpenFile::checkAlignment( const void* buffer, long long offset, unsigned long long size,
                                 const char* where ) const {
    // An alignment is a power of two.
    const auto all = reinterpret_cast<std::uintptr_t>( buffer ) |
                     static_cast<unsigned long long>( offset ) | size;
    if( all % alignment != 0 ) {
        char reason[160];
        std::snprintf( reason, sizeof( reason ),
                       "Unbuffered transfer is off: buffer %p, offset %lld and size %llu must be "
                       "multiples of %llu",
                       buffer, offset, size, alignment );
        throw ExSysErrorGeneric( QV_HERE, reason, where, path.getChars() );
    }
}

void OsOpenFile::raiseSystemError( const char* where ) const {
    throw ExSysErrorWindows( QV_HERE, where, path.getChars() );
}

unsigned long long OsOpenFile::read( void* buffer, unsigned long long toRead,
                                     const char* where ) const {
    QV_ASSERT_TEXT( toRead <= LARGEST_TRANSFER, "toRead <= std::numeric_limits<DWORD>::max()" );
    if( alignment != 1 ) {
        // The end of a file is seldom at a multiple, and a read gets there all the same.
        const long long position = seek( 0, FROM_CURRENT, where );
        const bool isAtEnd = OsFileCalls::isAtEnd( handle, position );
        checkAlignment( buffer, isAtEnd ? 0 : position, toRead, where );
        if( isAtEnd ) {
            return 0;
        }
    }
    const auto request = [&]( unsigned long long done, unsigned long long count ) {
        return OsFileCalls::read( handle, static_cast<char*>( buffer ) + done, count );
    };
    const Transferred result = transferInChunks( toRead, alignment, LastRequest::FINAL, request );
    if( result.outcome != Outcome::MOVED ) {
        raiseSystemError( where );
    }
    return result.done;
}

void OsOpenFile::write( const void* buffer, unsigned long long toWrite, const char* where ) const {
    QV_ASSERT_TEXT( toWrite <= LARGEST_TRANSFER, "toWrite <= std::numeric_limits<DWORD>::max()" );
    if( alignment != 1 ) {
        checkAlignment( buffer, seek( 0, FROM_CURRENT, where ), toWrite, where );
    }
    const auto request = [&]( unsigned long long done, unsigned long long count ) {
        return OsFileCalls::write( handle, static_cast<const char*>( buffer ) + done, count );
    };
    const Transferred result = transferInChunks( toWrite, 1, LastRequest::FINAL, request );
    if( result.outcome == Outcome::DISK_FULL ) {
        Assertions::throwSysAssertionFailed( QV_HERE, "toWrite == 0", errno );
    }
    if( result.outcome != Outcome::MOVED ) {
        raiseSystemError( where );
    }
    toWrite -= result.done;
    QV_ASSERT( toWrite == 0 );
}

long long OsOpenFile::seek( long long offset, OsFileTypes::SeekMode mode,
                            const char* where ) const {
    const long long position = OsFileCalls::seek( handle, offset, mode );
    if( position < 0 ) {
        raiseSystemError( where );
    }
    return position;
}

void OsOpenFile::reserve( unsigned long long size, const char* where ) const {
    if( !OsFileCalls::reserve( handle, size ) ) {
        raiseSystemError( where );
    }
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
