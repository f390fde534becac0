#pragma once

#include <tools/qvcomp/failure.h>

#include <system_error>
#include <utility>

namespace Qv::Comp {

/// A `Thread` of the standard library that runs `body`.
///
/// Errors: Failure when the system allows no more threads.
template <class Thread, class Body>
Thread startThread( Body body ) {
    try {
        return Thread( std::move( body ) );
    } catch( const std::system_error& ) {
        throw Failure( Tag::NO_THREADS );
    }
}

} // namespace Qv::Comp
