#pragma once

#include <base/ownership/ownershipDelete.h>

#include <exception>

namespace Qv {

/// Runs the body of a destructor that may raise. What it raises goes on; while another exception
/// unwinds the stack, it is reported instead.
template <class Body>
void runDestructor( Body body ) {
    try {
        body();
    } catch( ... ) {
        if( std::uncaught_exceptions() == 0 ) {
            throw;
        }
        Ownership::reportFailedDestructor();
    }
}

} // namespace Qv
