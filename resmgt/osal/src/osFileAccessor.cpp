#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osFile.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/src/osChunkedTransfer.h>
#include <resmgt/osal/src/osFileAccessor.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace Qv {

using OsFileCalls::Outcome;

namespace {

void checkPath( const OsFilePath& path ) {
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, "OsFileAccessor::openRead" );
    }
    // Fills the path's cache while nobody else sees it: later, threads that tell of failures at
    // once only read it.
    static_cast<void>( path.toString() );
}

OsFileCalls::Opened checkOpened( const OsFileCalls::Opened& opened, const OsFilePath& path,
                                 const char* where ) {
    if( opened.handle == OsFileTypes::INVALID_HANDLE ) {
        throw ExSysErrorWindows( QV_HERE, where, path.getChars() );
    }
    return opened;
}

/// How many bytes there can be from `offset` on, which a file's last offset limits.
unsigned long long roomFrom( long long offset ) {
    return static_cast<unsigned long long>( std::numeric_limits<long long>::max() - offset );
}

} // namespace

OsFileCalls::Opened OsFileAccessor::openRead( const OsFilePath& path, bool unbuffered ) {
    checkPath( path );
    const OsFile::FileDescriptorManipGuard guard;
    return checkOpened( OsFileCalls::openForReading( path, unbuffered ), path,
                        "OsFileReader::openRead" );
}

OsFileCalls::Opened OsFileAccessor::openReadWrite( const OsFilePath& path,
                                                   const OsFileTypes::Permissions& permissions,
                                                   bool truncate, bool unbuffered ) {
    checkPath( path );
    const OsFile::FileDescriptorManipGuard guard;
    return checkOpened( OsFileCalls::openForWriting( path, permissions, truncate, unbuffered ),
                        path, "OsFileWriter::openReadWrite" );
}

unsigned long long OsFileAccessor::read( const OsOpenFile& file, void* buffer, long long offset,
                                         unsigned long long toRead, const char* closed ) {
    const char* const where = "OsFileReader::performRead( multi-thread )";
    file.checkOpen( closed );
    QV_ASSERT_TEXT( toRead <= LARGEST_TRANSFER, "toRead <= std::numeric_limits< DWORD >::max()" );
    if( toRead == 0 ) {
        return 0;
    }
    file.checkAlignment( buffer, offset, toRead, where );
    // Nothing lies behind the last offset, but the system would refuse to look.
    const unsigned long long readable =
        offset < 0 ? toRead : std::min( toRead, roomFrom( offset ) );
    const auto request = [&]( unsigned long long done, unsigned long long count ) {
        return OsFileCalls::readAt( file.handle, static_cast<char*>( buffer ) + done,
                                    offset + static_cast<long long>( done ), count );
    };
    const Transferred result =
        transferInChunks( readable, file.alignment, LastRequest::HALVED, request );
    if( result.outcome != Outcome::MOVED ) {
        file.raiseSystemError( where );
    }
    return result.done;
}

void OsFileAccessor::write( const OsOpenFile& file, const void* buffer, long long offset,
                            unsigned long long toWrite ) {
    const char* const where = "OsFileReader::performWrite( multi-threaded )";
    file.checkOpen( "OsFileAccessor::write" );
    QV_ASSERT_TEXT( toWrite <= LARGEST_TRANSFER, "toWrite <= std::numeric_limits< DWORD >::max()" );
    if( toWrite == 0 ) {
        return;
    }
    file.checkAlignment( buffer, offset, toWrite, where );
    if( offset > 0 && toWrite > roomFrom( offset ) ) {
        errno = EOVERFLOW;
        file.raiseSystemError( where );
    }
    const auto request = [&]( unsigned long long done, unsigned long long count ) {
        return OsFileCalls::writeAt( file.handle, static_cast<const char*>( buffer ) + done,
                                     offset + static_cast<long long>( done ), count );
    };
    const Transferred result = transferInChunks( toWrite, 1, LastRequest::HALVED, request );
    if( result.outcome != Outcome::MOVED ) {
        file.raiseSystemError( where );
    }
    toWrite -= result.done;
    QV_ASSERT( toWrite == 0 );
}

void OsFileAccessor::reserve( const OsOpenFile& file, unsigned long long size ) {
    file.checkOpen( "OsFileAccessor::reserve" );
    file.reserve( size, "OsFileWriter::performReserve" );
}

} // namespace Qv
