#pragma once

#include <resmgt/resmgtApi.h>

#include <typeinfo>

namespace Qv {

/// Finds singletons that exist twice: each declares its type once.
///
/// It destroys no singleton and knows no order; it forgets its types when the package stops, and
/// singletons that live past that aren't tracked.
///
/// Threads: `add` from any thread; `init` and `fini` run alone, as the package starts and stops.
class QV_RESMGT_API LkSingletonRegistry {
public:
    LkSingletonRegistry() = delete;

    /// Makes the registry.
    static void init();
    /// For the rest of the process `add` does nothing.
    static void fini();
    /// Raises LkEx::ExDuplicateSingleton if `type` was there already.
    static void add( const std::type_info& type );
};

} // namespace Qv
