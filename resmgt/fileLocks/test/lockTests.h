#pragma once

#include <resmgt/fileLocks/osFileLock.h>
#include <resmgt/fileLocks/osFileLockManager.h>
#include <resmgt/fileLocks/src/osLockFile.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/childProcess.h>
#include <tests/support/deadline.h>

#include <fcntl.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace Qv {

/// Added to what the process sees of the clock that lateness is reckoned by, in seconds.
inline std::atomic<std::int64_t> lockClockShift = 0;

/// Added to what it sees of the calendar.
inline std::atomic<std::int64_t> calendarShift = 0;

/// The machine has been suspended for so long, until the scope's end.
class LateBy {
public:
    explicit LateBy( std::int64_t seconds )
        : _seconds( seconds ) {
        lockClockShift += seconds;
    }
    LateBy( const LateBy& ) = delete;
    LateBy& operator=( const LateBy& ) = delete;
    ~LateBy() { lockClockShift -= _seconds; }

private:
    const std::int64_t _seconds;
};

/// Files to be locked: the file "f", whose lock file is ".f.omlock".
class LockFiles : public TestFiles {
public:
    explicit LockFiles( const std::string& entries = "" )
        : TestFiles( entries ) {}

    static constexpr const char* LOCK = ".f.omlock";

    OPtr<OsFileLock> lock() const { return OsFileLock::lock( path( "f" ) ); }
    bool isLocked() const { return OsFileLock::isLocked( path( "f" ) ); }
    /// Makes the lock file one that was written so long ago, by the clock that stamps files.
    void age( std::int64_t seconds ) const {
        std::timespec now{};
        ::clock_gettime( CLOCK_REALTIME_COARSE, &now );
        setTime( { now.tv_sec - seconds, now.tv_nsec } );
    }
    void setTime( const std::timespec& time ) const {
        const std::timespec times[] = { time, time };
        EXPECT_EQ( ::utimensat( AT_FDCWD, at( LOCK ).c_str(), times, AT_SYMLINK_NOFOLLOW ), 0 );
    }
    struct stat facts( const char* name = LOCK ) const {
        struct stat found {};
        EXPECT_EQ( ::lstat( at( name ).c_str(), &found ), 0 );
        return found;
    }
    /// Seconds since the lock file was written.
    double getAge() const {
        std::timespec now{};
        ::clock_gettime( CLOCK_REALTIME, &now );
        const struct stat found = facts();
        return static_cast<double>( now.tv_sec - found.st_mtim.tv_sec ) +
               1e-9 * static_cast<double>( now.tv_nsec - found.st_mtim.tv_nsec );
    }
    /// All names there are, in order.
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for( const auto& entry : fs::directory_iterator( at( "" ) ) ) {
            all.push_back( entry.path().filename().string() );
        }
        std::sort( all.begin(), all.end() );
        return all;
    }
};

inline void refreshAll() {
    OsFileLockManager::getInstance().refreshAll();
}

} // namespace Qv
