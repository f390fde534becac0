#pragma once

#include <resmgt/locks/lkThreadOpaqueData.h>

namespace Qv {

/// Makes slots of per-thread data.
class QV_RESMGT_API LkThreadOpaqueDataFactory {
public:
    LkThreadOpaqueDataFactory() = delete;

    /// `name` is kept, not copied. `creator` builds a thread's value, `deleter` frees it, both on
    /// that thread; a deleter runs under the registry's lock and must not wait for another thread
    /// that starts or ends the use of a slot.
    ///
    /// Errors: a system assertion when the system has no slot left.
    static RCShdPtr<LkThreadOpaqueData> create( const char* name, void* ( *creator )(),
                                                void ( *deleter )( void* ) );
};

} // namespace Qv
