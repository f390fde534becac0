#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>
#include <resmgt/osal/src/osFileCalls.h>

#include <atomic>
#include <memory>

namespace Qv {

/// The open file of a reader or writer, and all that these do with it.
///
/// Threads: any number at once for `readAt`, `writeAt` and `getSize`, which share no position; all
///          else one at a time.
class OsOpenFile {
public:
    /// Location texts of what opening raises for an empty path and for a failed call, and of what
    /// closing raises.
    struct Texts {
        const char* noPath;
        const char* open;
        const char* close;
    };
    /// Location texts of what an operation raises on a closed file, and for a failed call.
    struct Where {
        const char* closed;
        const char* failed;
    };

    /// For reading.
    OsOpenFile( const OsFilePath& path, OsFileCalls::Transfers transfers, bool unbuffered,
                const Texts& texts );
    /// For writing and reading.
    OsOpenFile( const OsFilePath& path, OsFileCalls::Transfers transfers,
                const OsFileTypes::Permissions& permissions, bool truncate, bool unbuffered,
                const Texts& texts );
    /// Takes over `file`, which is open already and led to by `path`; it is closed after a failure.
    static std::unique_ptr<OsOpenFile> adopt( const OsFilePath& path, OsFileTypes::Handle file,
                                              bool unbuffered, const Texts& texts );
    /// Closed until it takes over what opening `path` elsewhere gave.
    OsOpenFile( const OsFilePath& path, const Texts& texts );
    OsOpenFile( const OsOpenFile& ) = delete;
    OsOpenFile& operator=( const OsOpenFile& ) = delete;
    /// Closes what is open; a failure of that is traced.
    ~OsOpenFile();

    /// REQUIRES: it is closed. Raises the system's error if `opened` is a failure.
    void take( const OsFileCalls::Opened& opened );

    /// At the current position.
    unsigned long long read( void* buffer, unsigned long long toRead, const Where& where );
    void write( const void* buffer, unsigned long long toWrite, const Where& where );
    long long seek( long long offset, OsFileTypes::SeekMode mode, const Where& where );

    /// At `offset`. `closed` is the location text for a closed file.
    unsigned long long readAt( void* buffer, long long offset, unsigned long long toRead,
                               const char* closed );
    void writeAt( const void* buffer, long long offset, unsigned long long toWrite );

    /// Leaves the current position alone.
    void reserve( unsigned long long size, const Where& where );
    /// Sets the position to `size`; after a failure it is as before.
    void reserveAndSeek( unsigned long long size, const Where& where );
    /// It counts as closed in any case afterwards.
    void close( const char* closed );

    /// In bytes, as the file at this path was at the first call.
    unsigned long long getSize();
    const OsFilePath& getPath() const noexcept { return _path; }
    OsFileTypes::Handle getHandle() const noexcept { return _handle; }

private:
    void checkOpen( const char* closed ) const;
    void checkAlignment( const void* buffer, long long offset, unsigned long long size,
                         const char* where ) const;
    [[noreturn]] void raiseSystemError( const char* where ) const;
    long long findPosition( long long offset, OsFileTypes::SeekMode mode, const char* where );

    const OsFilePath _path;
    const Texts _texts;
    OsFileTypes::Handle _handle = OsFileTypes::INVALID_HANDLE;
    /// Of unbuffered transfers; else 1.
    unsigned long long _alignment = 1;
    // Written by whichever threads ask first, with the same value. Released by the flag.
    std::atomic<unsigned long long> _size = 0;
    std::atomic<bool> _isSizeKnown = false;
};

/// Closes a file; it counts as closed in any case afterwards.
void closeFile( const OsFilePath& path, OsFileTypes::Handle& handle, const char* where );

/// The same for a destructor: nothing happens to a closed file, and a failure is traced.
void closeLeftFile( const OsFilePath& path, OsFileTypes::Handle& handle,
                    const char* where ) noexcept;

} // namespace Qv
