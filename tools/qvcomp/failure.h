#pragma once

#include <base/failure/exBase.h>

#include <stdexcept>
#include <string>

namespace Qv::Comp {

/// The work can't be done; the text is one sentence without a full stop, for the person at the
/// terminal. Ends the command with 1.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The command line is wrong. Ends the command with 2.
class UsageFailure : public Failure {
public:
    using Failure::Failure;
};

/// The system's own words, with which the reason of a failed call of it ends; what stands before
/// them is for developers. Other reasons come as they are.
inline std::string getSystemText( const ExBase& failure ) {
    const std::string reason = failure.getReason();
    const std::size_t colon = reason.rfind( ": " );
    return colon == std::string::npos ? reason : reason.substr( colon + 2 );
}

} // namespace Qv::Comp
