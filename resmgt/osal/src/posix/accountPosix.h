#pragma once

#include <string>

#include <sys/types.h>

namespace Qv {

/// An entry of the system's list of users.
struct AccountPosix {
    std::string name;
    std::string home;

    /// Returns 0, ENOENT if there is no such account, or why the list can't be asked. `account` is
    /// unchanged unless it is 0.
    static int find( uid_t id, AccountPosix& account );
    /// The account's name, or its number where it has none.
    /// Errors: ExSysErrorWindows with `where` and `detail` if the list can't be asked.
    static std::string getName( uid_t id, const char* where, const char* detail );
};

} // namespace Qv
