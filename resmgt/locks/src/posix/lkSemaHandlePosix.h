#pragma once

#include <resmgt/locks/lkSemaTypes.h>

#include <semaphore.h>
#include <sys/types.h>

#include <string>

namespace Qv {

/// One opening of a semaphore: closed by the destructor.
///
/// Without a name the semaphore stands in this object. With one it stands in a POSIX shared memory
/// object, and lives as long as anyone has it open, which the system's own named semaphores don't
/// tell: each opening holds a lock on a byte of its own, from byte 1 on, which the system gives
/// back even when the process is killed. Byte 0 is locked by whoever opens or closes, so that none
/// comes upon a half-made semaphore or one that is just being removed.
///
/// A file of another user, or what is no file, is refused with EACCES; where the volume is full the
/// error is ENOSPC.
///
/// A forked child's copy of an opening is none of its own: the opening ends as its opener closes
/// it. Only an opener that dies without closing leaves it to the child, until the last copy goes.
///
/// Name that the system sees: "/qv.sema." and the name, in which letters, digits, '.', '-' and '_'
/// stand for themselves and any other byte is written as '%' and two hexadecimal digits. A result
/// of more than 200 characters is cut there, and "%%" and a 64-bit hash of the whole name, as 16
/// hexadecimal digits, follow.
class LkSemaHandlePosix {
public:
    /// `name` may be null. On failure `getErrno` isn't 0.
    LkSemaHandlePosix( const char* name, unsigned int initialCount, LkSemaTypes::CreateFlag flag );
    LkSemaHandlePosix( const LkSemaHandlePosix& ) = delete;
    LkSemaHandlePosix& operator=( const LkSemaHandlePosix& ) = delete;
    ~LkSemaHandlePosix();

    int getErrno() const noexcept { return _errno; }
    sem_t& getSema() noexcept { return *_sema; }
    void wait();
    unsigned long countOpenings() const;

    static std::string toSystemName( const char* name );

private:
    void openNamed( unsigned int initialCount, LkSemaTypes::CreateFlag flag );
    // These answer with the system's error number, or 0.
    int attach( unsigned int initialCount, LkSemaTypes::CreateFlag flag );
    int make( unsigned int initialCount );
    int map();
    int takeByte();
    void fail( int error ) noexcept;
    /// Removes the name unless it leads to another file by now: one that a stranger has removed,
    /// and somebody made anew, isn't ours any more.
    void removeName() const noexcept;

    const std::string _systemName;
    // A forked child has its parent's openings without having opened anything.
    const pid_t _opener;
    int _errno = 0;
    int _file = -1;
    sem_t* _sema = nullptr;
    sem_t _private{};
};

} // namespace Qv
