#pragma once

namespace Qv::LkSemaTypes {

/// How a named semaphore's constructor treats one of the same name.
enum CreateFlag {
    /// It must exist.
    OPEN_ONLY = 0,
    /// It is opened if it exists, otherwise made.
    OPEN_OR_CREATE = 1,
    /// It must not exist.
    CREATE_ONLY = 2
};

/// Whether a semaphore without a system name is for several processes. Without effect on this
/// platform: it is for the threads of one process.
enum Shared { NOT_SHARED = 0, SHARED = 1 };

} // namespace Qv::LkSemaTypes
