#pragma once

#include <stdexcept>

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

} // namespace Qv::Comp
