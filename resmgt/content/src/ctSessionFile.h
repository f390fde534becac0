#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Qv {

/// The index of a media cache, `.session_idx`, open: one decimal number among blanks, the last
/// session number that was taken.
///
/// Locks:   the first byte is locked by whoever reads and rewrites the number. The byte FIRST_MARK
///          plus a session's number is locked, shared, by each process that is this session; the
///          byte FIRST_CLAIM plus the number by who removes the blocks of a dead one. They are
///          locks of the open file, which end with its last descriptor, at the latest with the
///          process.
/// Claims:  a session can be marked while it is claimed. Who has claimed it looks for marks before
///          each block that goes, and who has marked it waits for the end of the claim: so no block
///          of a living session goes, and the wait lasts no longer than one removal.
/// Length:  the number stands in front of as many blanks as make the file at least LENGTH bytes
///          long, and isn't shortened: a write that is cut off leaves no other number behind.
/// Links:   a link, a directory, a pipe and the like can't be used.
/// Errors:  none is raised but for want of memory; the thread's last error says what failed.
/// Threads: one at a time.
class CtSessionFile {
public:
    static constexpr std::uint64_t FROZEN = 18446744073709551614U;
    static constexpr std::uint32_t LAST_SESSION = 4294967294U;
    static constexpr std::size_t LENGTH = 32;
    /// What is longer is no index.
    static constexpr std::size_t MOST_LENGTH = 4096;
    static constexpr std::uint64_t FIRST_MARK = std::uint64_t( 1 ) << 40U;
    static constexpr std::uint64_t FIRST_CLAIM = std::uint64_t( 1 ) << 41U;

    enum class Locking { HAD, HELD_BY_OTHERS, IMPOSSIBLE };

    enum class Access { WRITE, MAKE };

    /// Of the cache in `directory`. One that isn't there is made if that is asked for; one that may
    /// not be written is opened for reading.
    CtSessionFile( const OsFilePath& directory, Access access );
    CtSessionFile( CtSessionFile&& other ) noexcept;
    CtSessionFile& operator=( CtSessionFile&& other ) noexcept;
    ~CtSessionFile();

    bool isOpen() const noexcept { return _handle != OsFileTypes::INVALID_HANDLE; }
    bool isWritable() const noexcept { return _isWritable; }
    const OsFilePath& getPath() const noexcept { return _path; }

    /// Waits so many seconds at most for others to give the lock back.
    Locking lock( double seconds );
    bool unlock();

    /// What is in it; nothing if it can't be read.
    std::optional<std::string> read() const;
    /// Returns when the number, and the file's name, are where a loss of power leaves them.
    bool write( std::uint64_t number );

    /// Marks the session as living for as long as this is open. Waits so many seconds at most for
    /// whoever has claimed it; it is marked then all the same.
    Locking mark( std::uint32_t session, double seconds );
    /// Whether others have marked it: HELD_BY_OTHERS.
    Locking look( std::uint32_t session ) const;
    /// False if it is marked, or claimed already.
    bool claim( std::uint32_t session );
    void release( std::uint32_t session );

    /// The number that the text of an index is; nothing for any other text.
    static std::optional<std::uint64_t> parse( std::string_view text );
    /// The number that follows the one that was read.
    static std::uint32_t getNext( std::optional<std::uint64_t> stored );

private:
    Locking lockByte( int type, std::uint64_t byte );
    bool writeText( const std::string& text );

    OsFilePath _directory;
    OsFilePath _path;
    OsFileTypes::Handle _handle = OsFileTypes::INVALID_HANDLE;
    bool _isWritable = true;
};

} // namespace Qv
