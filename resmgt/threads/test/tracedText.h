#pragma once

#include <resmgt/logger/lgLog.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace Qv {

// Ahead of the packages' start.
[[maybe_unused]] inline const int isTracingEchoed = ::setenv( "QV_LOG_TRACING", "%", 0 );

/// What is traced from now on is kept for `takeTrace`; this test program's traces are echoed.
inline void captureTrace() {
    ::testing::internal::CaptureStdout();
}

inline std::string takeTrace() {
    constexpr double DEADLINE_SECONDS = 60.0;
    EXPECT_TRUE( LgLog::flush( DEADLINE_SECONDS ) );
    return ::testing::internal::GetCapturedStdout();
}

} // namespace Qv
