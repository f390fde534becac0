#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// The library's reports to a test run.
///
/// Threads: any.
class QV_RESMGT_API TestInform {
public:
    TestInform() = delete;

    /// Whether the process runs tests under the test harness: false outside a test run.
    static bool isRegressionTestSuite() noexcept;
    /// Reports, on the standard output, an exception that ends the process.
    static void exceptionEncountered( const char* text );
    /// The same for what ends the process otherwise.
    static void abnormalTermination( const char* text );
};

} // namespace Qv
