#include <tools/qvcomp/outputLock.h>

#include <resmgt/profiling/sleeper.h>
#include <tools/lockHolder.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>

#include <algorithm>
#include <chrono>

namespace Qv::Comp {

namespace {

using Clock = std::chrono::steady_clock;

// In seconds, between two tries: each asks the file server for its time. A signal is noticed then.
constexpr double SHORTEST_PAUSE = 0.05;
constexpr double LONGEST_PAUSE = 0.999;

[[noreturn]] void refuse( const OsFilePath& path ) {
    const LockHolder holder = findLockHolder( path );
    if( holder.state == LockHolder::FREE || holder.state == LockHolder::BLOCKED ) {
        throw Failure( Tag::CANT_LOCK, path.toString() );
    }
    throw Failure( Tag::LOCKED, path.toString(), holder.describe() );
}

OPtr<OsFileLock> lock( const OsFilePath& path, int seconds ) {
    const Clock::time_point end = Clock::now() + std::chrono::seconds( seconds );
    for( double pause = SHORTEST_PAUSE;; pause = std::min( 2.0 * pause, LONGEST_PAUSE ) ) {
        InterruptNote::check();
        OPtr<OsFileLock> made( OsFileLock::lock( path ) );
        const double left = std::chrono::duration<double>( end - Clock::now() ).count();
        if( !made.isNull() ) {
            return made;
        }
        if( left <= 0.0 ) {
            refuse( path );
        }
        Sleeper::getInstance().sleep( std::min( pause, left ) );
    }
}

} // namespace

OutputLock::OutputLock( const OsFilePath& path, int seconds )
    : _lock( lock( path, seconds ) ) {}

void OutputLock::verify() const {
    if( !_lock->verify() ) {
        throw Failure( Tag::LOCK_LOST, _lock->getLockFilePath().toString() );
    }
}

} // namespace Qv::Comp
