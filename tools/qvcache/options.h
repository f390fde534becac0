#pragma once

#include <resmgt/osal/osFilePath.h>

#include <span>
#include <stdexcept>

namespace Qv::Cache {

enum class Action { SUMMARIZE, LIST, VERIFY, PRUNE };
enum class ReportForm { TEXT, JSON };

/// What the command line asks for.
struct Options {
    OsFilePath directory;
    Action action = Action::SUMMARIZE;
    ReportForm report = ReportForm::TEXT;
    bool isDryRun = false;
    bool wantsHelp = false;
    bool wantsVersion = false;
};

/// The command line is wrong; the text is a sentence without a full stop.
class UsageFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments after the command's name. When help or the version is wanted the rest isn't
/// checked.
///
/// Errors: UsageFailure; what OsTypedPath raises for a directory that leads nowhere.
Options parseOptions( std::span<const char* const> arguments );

const char* getHelp() noexcept;

} // namespace Qv::Cache
