#pragma once

#include <resmgt/logger/lgGroups.h>
#include <resmgt/logger/qvLog.h>

#include <exception>

namespace Qv {

/// Runs a step of a file lock that others must not be kept from. What it raises is logged, and the
/// answer is false.
template <class Step>
bool runStep( const char* what, const Step& step ) noexcept {
    try {
        step();
        return true;
    } catch( const std::exception& exception ) {
        QV_LOG( FileLocks, Error, what, " failed: ", exception.what() );
    } catch( ... ) {
        QV_LOG( FileLocks, Error, what, " failed" );
    }
    return false;
}

} // namespace Qv
