#include <resmgt/osal/src/posix/accountPosix.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>

#include <cerrno>
#include <utility>
#include <vector>

#include <pwd.h>

namespace Qv {

int AccountPosix::find( uid_t id, AccountPosix& account ) {
    std::vector<char> buffer( 1024 );
    passwd entry{};
    passwd* found = nullptr;
    int error = 0;
    do {
        if( error == ERANGE ) {
            buffer.resize( 2 * buffer.size() );
        }
        error = ::getpwuid_r( id, &entry, buffer.data(), buffer.size(), &found );
    } while( error == ERANGE || error == EINTR );
    if( found != nullptr ) {
        account = AccountPosix{ entry.pw_name, entry.pw_dir };
        return 0;
    }
    // How the sources of names say that they don't know it.
    const bool isUnknown = error == 0 || error == ESRCH || error == EPERM;
    return isUnknown ? ENOENT : error;
}

std::string AccountPosix::getName( uid_t id, const char* where, const char* detail ) {
    AccountPosix account;
    const int error = find( id, account );
    if( error == ENOENT ) {
        return std::to_string( id );
    }
    if( error != 0 ) {
        errno = error;
        throw ExSysErrorWindows( QV_HERE, where, detail );
    }
    return std::move( account.name );
}

} // namespace Qv
