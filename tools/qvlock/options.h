#pragma once

#include <resmgt/osal/osFilePath.h>

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace Qv::Lock {

enum class Action { HELP, VERSION, RUN, STATUS };

/// What the command line asks for.
struct Options {
    Action action = Action::HELP;
    OsFilePath file;
    /// In seconds.
    double wait = 0.0;
    /// The command and its arguments, of the arguments that were given.
    std::vector<const char*> command;
};

/// The command line is wrong; the text is a sentence without a full stop.
class UsageFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments after the command's name. Errors: UsageFailure.
Options parseOptions( std::span<const char* const> arguments );

const char* getHelp() noexcept;

} // namespace Qv::Lock
