#pragma once

#include <resmgt/osSupport/osDateTypes.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace Qv {

/// A lock file that this process has made and keeps open, and what it can learn of and do with
/// others.
///
/// Servers:  all facts are asked of the file server, past what this machine remembers of them.
/// Links:    in the place of a lock file none is followed; what isn't a regular file is neither
///           opened nor moved on purpose.
/// Errors:   where nothing else stands, a failure is part of the answer.
class OsLockFile {
public:
    struct Id {
        std::uint64_t volume = 0;
        std::uint64_t number = 0;

        friend bool operator==( const Id&, const Id& ) = default;
    };
    enum class Kind {
        NOTHING,
        FILE,
        OTHER,  ///< what isn't a regular file
        UNKNOWN ///< the server can't say
    };
    struct Look {
        Kind kind = Kind::UNKNOWN;
        Id id;
        /// Of the last modification.
        OsDateTypes::DateRep time;
    };
    enum class Place {
        OWN,     ///< the path leads to this file
        NOTHING, ///< to no file
        OTHERS,  ///< to another one
        UNKNOWN
    };
    enum class Moving {
        REMOVED,
        VANISHED, ///< there was nothing any more
        SPARED,   ///< what was there has its name again, or lost it to a newer file
        REFUSED   ///< by the system
    };

    /// What is at `path`. Errors: ExSysErrorWindows for want of memory to ask.
    static Look look( const OsFilePath& path );
    /// Makes the file with this content, unless anything has the path. What can't be made or
    /// written isn't open. A volume that is full for the content gives an empty file.
    static OsLockFile make( const OsFilePath& path, const std::string& text );
    /// Removes what is at `path` if it is still what `mayGo` says yes to once it was moved to a
    /// private name, where no newcomer can take its place. Otherwise it is moved back, never over
    /// another. The last error is that of the system if it refuses.
    static Moving remove( const OsFilePath& path,
                          const std::function<bool( const Look& moved )>& mayGo );

    OsLockFile() noexcept = default;
    OsLockFile( OsLockFile&& other ) noexcept
        : _handle( std::exchange( other._handle, OsFileTypes::INVALID_HANDLE ) )
        , _id( other._id )
        , _isRemote( other._isRemote ) {}
    OsLockFile& operator=( OsLockFile&& other ) noexcept {
        std::swap( _handle, other._handle );
        std::swap( _id, other._id );
        std::swap( _isRemote, other._isRemote );
        return *this;
    }
    ~OsLockFile();

    bool isOpen() const noexcept { return _handle != OsFileTypes::INVALID_HANDLE; }
    const Id& getId() const noexcept { return _id; }
    Place findPlace( const OsFilePath& path ) const;
    /// Rewrites the content in place, which moves the time of modification on. Where there is no
    /// room for it the time is set to the server's present one. False if neither can be done.
    bool write( const std::string& text ) const;
    /// Makes the file one that is dead to everybody, wherever it lies by now.
    void kill() const noexcept;
    void close() noexcept;

private:
    explicit OsLockFile( OsFileTypes::Handle handle ) noexcept
        : _handle( handle ) {}

    OsFileTypes::Handle _handle = OsFileTypes::INVALID_HANDLE;
    // While the file is open no other has its identity, as long as the server has it too.
    Id _id;
    // What is written must be sent on before others see its time.
    bool _isRemote = false;
};

/// The present time in nanoseconds of a clock that runs on while the machine is suspended.
std::int64_t getLockClock() noexcept;

} // namespace Qv
