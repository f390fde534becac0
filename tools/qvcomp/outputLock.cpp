#include <tools/qvcomp/outputLock.h>

#include <tools/lockHolder.h>
#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>

#include <algorithm>
#include <chrono>

namespace Qv::Comp {

namespace {

using Clock = std::chrono::steady_clock;

// Between two looks whether a signal has come.
constexpr double LONGEST_TRY = 0.5;

OPtr<OsFileLock> lock( const OsFilePath& path, int seconds ) {
    const Clock::time_point end = Clock::now() + std::chrono::seconds( seconds );
    for( ;; ) {
        InterruptNote::check();
        const double left = std::chrono::duration<double>( end - Clock::now() ).count();
        OPtr<OsFileLock> made( OsFileLock::lock( path, std::min( left, LONGEST_TRY ) ) );
        if( !made.isNull() ) {
            return made;
        }
        if( left <= 0.0 ) {
            const LockHolder holder = findLockHolder( path );
            if( holder.state == LockHolder::FREE ) {
                throw Failure( Tag::CANT_LOCK, path.toString() );
            }
            throw Failure( Tag::LOCKED, path.toString(), holder.describe() );
        }
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
