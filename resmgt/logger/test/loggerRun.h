#pragma once

#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Qv {

/// The logger, started anew under other variables, with a log directory of its own; at the end it
/// runs as before.
class LoggerRun {
public:
    using Variables = std::vector<std::pair<const char*, std::string>>;

    /// Without QV_LOG_UNSPECIFIED among them there are default files.
    explicit LoggerRun( const Variables& variables );
    LoggerRun( const LoggerRun& ) = delete;
    LoggerRun& operator=( const LoggerRun& ) = delete;
    ~LoggerRun();

    /// Ends and starts.
    static void stop();
    static void start();

private:
    std::vector<std::unique_ptr<ScopedEnvironment>> _environment;
};

} // namespace Qv
