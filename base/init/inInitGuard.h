#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// Stands at the head of a `main`: starts the packages in dependency order, and stops them in
/// reverse at scope exit.
///
///     int main( int argc, char** argv ) {
///         const InInitGuard packages( argc, argv );
///
/// Arguments: those that configuration variables take are bound to them and taken out of `argc`
///            and `argv`; the rest stays, in order. A second guard that is given what the first
///            has left there binds the same arguments again.
/// Errors:    a dependency that no package bears, a cycle of packages (the message names all of
///            it), and what a package's start raises. What had started is stopped in reverse
///            first. An exception out of a package's stop is reported, and the stop goes on.
/// Threads:   one guard at a time, on the main thread; a second one is an assertion.
class QV_BASE_API InInitGuard {
public:
    InInitGuard( int& argc, const char* const*& argv );
    InInitGuard( int& argc, char**& argv );
    InInitGuard( const InInitGuard& ) = delete;
    InInitGuard& operator=( const InInitGuard& ) = delete;
    ~InInitGuard();
};

} // namespace Qv
